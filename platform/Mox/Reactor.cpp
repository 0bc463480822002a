#include "Mox/Reactor.h"

#include "Base/Assert.h"

namespace Mox {

AnySubscription::AnySubscription(Reactor &owner, Pelo::Subscriber::Callback callback)
    : next_(owner.subscriptions_), subscriber_(callback, &owner) {
    owner.subscriptions_ = this;
}

AnySubscription::~AnySubscription() {
    AnySubscription **link = &owner().subscriptions_;
    while (*link != this) {
        link = &(*link)->next_;
    }
    *link = next_;
}

void AnySubscription::followEntity(Entity const *input) {
    subscriber_.detach();
    if (input != nullptr) {
        input->notifier().subscriberAdd(subscriber_, owner().hasNotificationActive());
    }
}

Reactor::~Reactor() = default;

void Reactor::hasNotificationActiveIs(bool active) {
    Entity::hasNotificationActiveIs(active);
    for (AnySubscription *s = subscriptions_; s != nullptr; s = s->next_) {
        s->subscriber_.activeIs(active && !markedForDeletion());
    }
}

void Reactor::start() {
    try {
        handleInitialized();
        unpin();
    } catch (...) {
        retire();
        throw;
    }
}

void Reactor::retire() noexcept {
    try {
        markForDeletion();
        Reactor::hasNotificationActiveIs(false);
        doCleanup();
        hasNotificationActiveIs(false); // nested reactors too, while all of them still exist
        for (AnySubscription *s = subscriptions_; s != nullptr; s = s->next_) {
            s->subscriber_.detach();
        }
        childrenDelAll();
    } catch (...) {
        Base::stopOnException();
    }
}

} // namespace Mox
