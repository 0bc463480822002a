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

/// A reactor's connection to one input, declared as a member with the reactor's dispatch
/// function:
///
///     Mox::Subscription statusSubscription_{*this, &UmoNatFlowMcastSm::statusDispatch};
///
/// It follows nothing until `follow` is called. The dispatch function is called while the
/// reactor has its notifications on and its end has not begun.
class PLATFORM_API Subscription {
  public:
    template <class Owner>
    Subscription(Owner &owner, void (Owner::*dispatch)(Pelo::Change const &))
        : Subscription(static_cast<Reactor &>(owner), static_cast<Dispatch>(dispatch)) {}
    ~Subscription();
    Subscription(Subscription const &) = delete;
    Subscription &operator=(Subscription const &) = delete;

    /// Leaves what was followed and follows `input` instead; null follows nothing.
    void follow(Entity const *input);
    template <class T>
    void follow(Ptr<T> const &input) {
        follow(input.ptr());
    }

  private:
    friend class Reactor;
    using Dispatch = void (Reactor::*)(Pelo::Change const &);

    Subscription(Reactor &owner, Dispatch dispatch);
    static void call(void *self, Pelo::Change const &change);

    Reactor &owner_;
    Dispatch dispatch_;
    Subscription *next_; // the owner's other subscriptions
    Pelo::Subscriber subscriber_;
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
    friend class Subscription;
    template <class Sm>
    friend class Live;

    virtual void onlyLiveReactorsExist() = 0; // see Live

    void start();
    void retire() noexcept;

    Subscription *subscriptions_ = nullptr;
    std::optional<Pin> construction_{std::in_place, *this}; // until the start has succeeded
};

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
