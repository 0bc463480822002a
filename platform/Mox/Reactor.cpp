#include "Mox/Reactor.h"

#include "Mox/Assert.h"

namespace Mox {

Subscription::Subscription(Reactor &owner, Dispatch dispatch)
    : owner_(owner), dispatch_(dispatch), next_(owner.subscriptions_), subscriber_(&call, this) {
    owner.subscriptions_ = this;
}

Subscription::~Subscription() {
    Subscription **link = &owner_.subscriptions_;
    while (*link != this) {
        link = &(*link)->next_;
    }
    *link = next_;
}

void Subscription::follow(Entity const *input) {
    subscriber_.detach();
    if (input != nullptr) {
        input->notifier().subscriberAdd(subscriber_, owner_.hasNotificationActive());
    }
}

void Subscription::call(void *self, Pelo::Change const &change) {
    auto *subscription = static_cast<Subscription *>(self);
    (subscription->owner_.*subscription->dispatch_)(change);
}

Reactor::~Reactor() = default;

void Reactor::hasNotificationActiveIs(bool active) {
    Entity::hasNotificationActiveIs(active);
    for (Subscription *s = subscriptions_; s != nullptr; s = s->next_) {
        s->subscriber_.activeIs(active && !markedForDeletion());
    }
}

void Reactor::start() {
    try {
        handleInitialized();
        construction_.reset();
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
        for (Subscription *s = subscriptions_; s != nullptr; s = s->next_) {
            s->subscriber_.detach();
        }
        childrenDelAll();
    } catch (...) {
        stopOnException();
    }
}

} // namespace Mox
