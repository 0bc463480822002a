#pragma once

#include "Mox/Census.h"
#include "Mox/Entity.h"
#include "Mox/Ptr.h"
#include "Pelo/Publisher.h"

#include <type_traits>
#include <utility>

namespace Mox {

class Reactor;

/// The part of a Subscription that does not depend on the followed class.
class PLATFORM_API AnySubscription {
  public:
    AnySubscription(AnySubscription const &) = delete;
    AnySubscription &operator=(AnySubscription const &) = delete;

  protected:
    AnySubscription(Reactor &owner, Pelo::Subscriber::Callback callback);
    ~AnySubscription();

    void followEntity(Entity const *input);

  private:
    friend class Reactor;

    [[nodiscard]] Reactor &owner() const noexcept;

    AnySubscription *next_;       // the owner's other subscriptions
    Pelo::Subscriber subscriber_; // its context is the owner
};

/// A reactor's connection to one input of the class `Followed`, declared as a member with the
/// reactor's dispatch function:
///
///     Mox::Subscription<Ip::Nat::Status, &Root::statusDispatch> statusSubscription_{*this};
///
/// It follows nothing until `follow` is called. The dispatch function is called while the reactor's
/// notifications are on and its destruction has not begun.
template <class Followed, auto kDispatch>
class Subscription : public AnySubscription {
  public:
    template <class Owner>
    explicit Subscription(Owner &owner) : AnySubscription(owner, &call<Owner>) {}

    /// Stops following the old input and follows `input`; null follows nothing.
    void follow(Ptr<Followed const> const &input) { followEntity(input.ptr()); }

  private:
    template <class Owner>
    static void call(void *reactor, Pelo::Change const &change);
};

/// Base of every state machine: an object that follows entities and reacts to their changes.
///
/// Every state machine goes through the same steps:
///
///  1. its constructor stores the inputs and makes the subscriptions follow them;
///  2. `handleInitialized()`, the last step of construction, scans the current state;
///  3. its notifications are switched on, and its owner inserts it;
///  4. when it is destroyed, or step 2 throws, it is marked for deletion and its own subscriptions
///     are switched off. `doCleanup()` runs while its children still exist. Then its nested
///     reactors are switched off too, and its subscriptions end. `childrenDelAll()` removes its
///     children; its fields are destroyed last.
///
/// Steps 2 and 4 run outside the class's own constructor and destructor, while the object is
/// complete. Therefore only reactorIs() makes state machines.
class PLATFORM_API Reactor : public Entity {
  public:
    /// Scans the current contents of the inputs, and calls the handler of each element found.
    virtual void handleInitialized() = 0;

    /// Undoes what the reactor changed outside itself. The framework calls it, once.
    virtual void doCleanup() {}

    /// Switches the subscriptions on or off. A reactor with nested reactors extends this to switch
    /// them too.
    void hasNotificationActiveIs(bool active) override;

  protected:
    Reactor() { pin(); } // until the start has succeeded
    ~Reactor() override;

    /// Clears the collections of children, the last declared first.
    virtual void childrenDelAll() {}

  private:
    friend class AnySubscription;
    template <class Sm>
    friend class Live;

    virtual void onlyLiveReactorsExist() = 0; // see Live

    void start();
    void retire() noexcept;

    AnySubscription *subscriptions_ = nullptr;
};

inline Reactor &AnySubscription::owner() const noexcept {
    return *static_cast<Reactor *>(subscriber_.context());
}

template <class Followed, auto kDispatch>
template <class Owner>
void Subscription<Followed, kDispatch>::call(void *reactor, Pelo::Change const &change) {
    auto &owner = static_cast<Owner &>(*static_cast<Reactor *>(reactor));
    (owner.*kDispatch)(Pelo::ChangeOf<Followed>(change));
}

/// The most derived class of every state machine `Sm`. It starts the machine when it is fully
/// constructed, and retires it before any part is destroyed. If the start throws, it retires the
/// machine in the same way and the exception propagates.
template <class Sm>
class Live final : public Sm {
  public:
    template <class... Args>
    explicit Live(Args &&...args) : Sm(std::forward<Args>(args)...) {
        this->start();
    }
    ~Live() override { this->retire(); }

  private:
    void onlyLiveReactorsExist() override {}
};

/// Makes the state machine `Sm`: allocates, constructs and starts it, then switches its
/// notifications on. If its start throws, nothing is left behind.
template <class Sm, class... Args>
Ptr<Sm> reactorIs(Args &&...args) {
    static_assert(std::is_base_of_v<Reactor, Sm>);
    Ptr<Sm> machine(new Live<Sm>(std::forward<Args>(args)...));
    Census::enter<Sm>(*machine, sizeof(Live<Sm>));
    machine->hasNotificationActiveIs(true);
    return machine;
}

} // namespace Mox
