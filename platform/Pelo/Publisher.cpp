#include "Pelo/Publisher.h"

#include "Mox/Assert.h"

#include <algorithm>
#include <vector>

namespace Pelo {

/// The subscribers in order of subscription. A place whose subscriber has gone stays empty until
/// no publication walks the list and half of it is empty.
struct Notifier::Places {
    std::vector<Subscriber *> subscribers;
    std::size_t empty = 0;
    unsigned publications = 0; // nested publications that walk the list at this moment
    bool orphaned = false;     // the notifier went during one of them

    void closeUp() noexcept {
        if (publications > 0 || empty * 2 < subscribers.size()) {
            return;
        }
        subscribers.erase(std::remove(subscribers.begin(), subscribers.end(), nullptr),
                          subscribers.end());
        for (std::size_t i = 0; i < subscribers.size(); ++i) {
            subscribers[i]->place_ = i;
        }
        empty = 0;
    }
};

Notifier::Notifier() noexcept = default;

Notifier::~Notifier() {
    if (places_ == nullptr) {
        return;
    }
    for (Subscriber *&subscriber : places_->subscribers) {
        if (subscriber != nullptr) {
            subscriber->notifier_ = nullptr;
            subscriber = nullptr;
        }
    }
    if (places_->publications > 0) {
        places_->orphaned = true; // the outermost publication frees it
    } else {
        delete places_;
    }
}

void Notifier::subscriberAdd(Subscriber &subscriber, bool active) const {
    Mox::assertThat(!subscriber.attached(), "!subscriber.attached()");
    if (places_ == nullptr) {
        places_ = new Places;
    }
    places_->subscribers.push_back(&subscriber);
    subscriber.place_ = places_->subscribers.size() - 1;
    subscriber.notifier_ = this;
    subscriber.active_ = active;
}

void Notifier::subscriberRemove(Subscriber &subscriber) const noexcept {
    if (subscriber.notifier_ != this) {
        return;
    }
    subscriber.notifier_ = nullptr;
    places_->subscribers[subscriber.place_] = nullptr;
    ++places_->empty;
    places_->closeUp();
}

void Publisher::publishToSubscribers(Change const &change) const noexcept {
    Places &places = *places_; // outlives this publisher if a subscriber destroys it
    std::size_t const count = places.subscribers.size();
    ++places.publications;
    try {
        for (std::size_t i = 0; i < count; ++i) {
            Subscriber const *subscriber = places.subscribers[i];
            if (subscriber != nullptr && subscriber->active_) {
                subscriber->callback_(subscriber->context_, change);
            }
        }
    } catch (...) {
        Mox::stopOnException();
    }
    if (--places.publications > 0) {
        return;
    }
    if (places.orphaned) {
        delete &places;
    } else if (places.empty > 0) {
        places.closeUp(); // subscribers that left meanwhile
    }
}

void Subscriber::detach() noexcept {
    if (notifier_ != nullptr) {
        notifier_->subscriberRemove(*this);
    }
}

} // namespace Pelo
