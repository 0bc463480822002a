#pragma once

#include "Mox/Census.h"
#include "Mox/Entity.h"
#include "Mox/Ptr.h"
#include "Pelo/Publisher.h"

#include <optional>
#include <type_traits>
#include <utility>

namespace Mox {

class Reactor;

/// The part of every Subscription that its owner reaches.
class PLATFORM_API AnySubscription {
  public:
    AnySubscription(AnySubscription const &) = delete;
    AnySubscription &operator=(AnySubscription const &) = delete;

  protected:
    AnySubscription(Reactor &owner, Pelo::Subscriber::Callback callback);
    ~AnySubscription();

    void followEntity(Entity const *input);
    [[nodiscard]] Reactor &owner() const noexcept { return owner_; }

  private:
    friend class Reactor;

    Reactor &owner_;
    AnySubscription *next_; // the owner's other subscriptions
    Pelo::Subscriber subscriber_;
};

/// A reactor's connection to one input of the class `Followed`, declared as a member with the
/// reactor's dispatch function:
///
///     Mox::Subscription<Ip::Nat::Status> statusSubscription_{*this, &Root::statusDispatch};
///
/// It follows nothing until `follow` is called. The dispatch function is called while the
/// reactor has its notifications on and its end has not begun.
template <class Followed>
class Subscription : public AnySubscription {
  public:
    template <class Owner>
    Subscription(Owner &owner, void (Owner::*dispatch)(Pelo::ChangeOf<Followed> const &))
        : AnySubscription(owner, &call), dispatch_(static_cast<Dispatch>(dispatch)) {}

    /// Leaves what was followed and follows `input` instead; null follows nothing.
    void follow(Ptr<Followed const> const &input) { followEntity(input.ptr()); }

  private:
    using Dispatch = void (Reactor::*)(Pelo::ChangeOf<Followed> const &);

    static void call(void *self, Pelo::Change const &change);

    Dispatch dispatch_;
};

/// Base of every state machine: an object that follows entities and reacts to their changes.
///
/// Its life is the same for all and is written here once:
///
///  1. constructed: it stores its inputs and lets its subscriptions follow them;
///  2. `handleInitialized()`, as the last step of construction, scans the current state;
///  3. its notifications are switched on, and its owner inserts it;
///  4. at its end, or when step 2 throws, it is marked for deletion and `doCleanup()` runs on
///     the whole object, its children alive; then nothing of it reacts any more, nested reactors
///     included; its subscriptions end; its children go with `childrenDelAll()`; last its fields.
///
/// Step 2 and step 4 run outside the class's own constructor and destructor, where the whole
/// object is there; this is why a state machine is made with reactorIs() and in no other way.
class PLATFORM_API Reactor : public Entity {
  public:
    /// Scans the current contents of the inputs, and calls the handler of each element found.
    virtual void handleInitialized() = 0;

    /// Takes back what the reactor did to the world outside. Called by the framework, once.
    virtual void doCleanup() {}

    /// Switches the subscriptions on or off. A reactor with nested reactors extends this.
    void hasNotificationActiveIs(bool active) override;

  protected:
    Reactor() = default;
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
    std::optional<Pin> construction_{std::in_place, *this}; // until the start has succeeded
};

template <class Followed>
void Subscription<Followed>::call(void *self, Pelo::Change const &change) {
    auto *const subscription = static_cast<Subscription *>(static_cast<AnySubscription *>(self));
    (subscription->owner().*subscription->dispatch_)(Pelo::ChangeOf<Followed>(change));
}

/// The complete form of the state machine `Sm`, the only one that exists: it starts the machine
/// when all of it is constructed and retires it before any of it is destroyed. If the start
/// fails the machine is retired in the same way, and the exception goes on.
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
/// notifications on. What its start throws leaves nothing behind.
template <class Sm, class... Args>
Ptr<Sm> reactorIs(Args &&...args) {
    static_assert(std::is_base_of_v<Reactor, Sm>);
    Ptr<Sm> machine(new Live<Sm>(std::forward<Args>(args)...));
    Census::enter<Sm>(*machine, sizeof(Live<Sm>));
    machine->hasNotificationActiveIs(true);
    return machine;
}

} // namespace Mox
