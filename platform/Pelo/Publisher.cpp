#include "Pelo/Publisher.h"

#include "Base/Assert.h"

#include <algorithm>
#include <utility>

namespace Pelo {

void Notifier::Places::add(Subscriber &subscriber) {
    if (size == capacity) {
        std::uint32_t const larger = std::max(4U, capacity * 4);
        auto grown = std::make_unique<Place[]>(larger);
        std::copy_n(places.get(), size, grown.get());
        places = std::move(grown);
        capacity = larger;
    }
    subscriber.place_ = size++;
    places[subscriber.place_].subscriber = &subscriber;
}

void Notifier::Places::remove(std::size_t place) noexcept {
    places[place] = Place();
    ++empty;
    if (publishing) {
        unsettled = true;
    } else {
        closeUp();
    }
}

void Notifier::Places::closeUp() noexcept {
    if (std::size_t{empty} * 2 < size) {
        return;
    }
    auto const *const end =
        std::remove_if(places.get(), places.get() + size,
                       [](Place const &place) { return place.subscriber == nullptr; });
    size = static_cast<std::uint32_t>(end - places.get());
    for (std::uint32_t i = 0; i < size; ++i) {
        places[i].subscriber->place_ = i;
    }
    empty = 0;
}

void Notifier::Places::settle() noexcept {
    unsettled = false;
    if (orphaned) {
        delete this;
    } else {
        closeUp();
    }
}

void Notifier::Places::callNobody(void * /*context*/, Change const & /*change*/) {}

void Notifier::Places::stop() noexcept {
    Base::stopOnException();
}

Notifier::Notifier() noexcept = default;

Notifier::~Notifier() {
    if (!several()) {
        if (who_ != nullptr) {
            only().notifier_ = nullptr;
        }
        return;
    }
    Places &all = places();
    for (std::uint32_t i = 0; i < all.size; ++i) {
        Places::Place &place = all.places[i];
        if (place.subscriber != nullptr) {
            place.subscriber->notifier_ = nullptr;
            place = Places::Place();
        }
    }
    if (all.publishing) {
        all.orphaned = all.unsettled = true; // the outermost publication frees it
    } else {
        delete &all;
    }
}

void Notifier::subscriberAdd(Subscriber &subscriber, bool active) const {
    Base::assertThat(!subscriber.attached(), "!subscriber.attached()");
    if (who_ == nullptr) {
        who_ = &subscriber;
    } else {
        if (!several()) {
            Subscriber &first = only();
            auto all = std::make_unique<Places>();
            all->add(first);
            who_ = all.release();
            first.activeIs(first.active_);
        }
        places().add(subscriber);
    }
    subscriber.notifier_ = this;
    subscriber.activeIs(active);
}

void Notifier::subscriberRemove(Subscriber &subscriber) const noexcept {
    if (subscriber.notifier_ == this) {
        subscriber.notifier_ = nullptr;
        if (several()) {
            places().remove(subscriber.place_);
        } else {
            who_ = nullptr;
        }
    }
}

void Subscriber::activeIs(bool active) noexcept {
    active_ = active;
    if (notifier_ != nullptr && notifier_->several()) {
        Notifier::Places::Place &place = notifier_->places().places[place_];
        place.call = active ? callback_ : &Notifier::Places::callNobody;
        place.context = context_;
    }
}

void Subscriber::detach() noexcept {
    if (notifier_ != nullptr) {
        notifier_->subscriberRemove(*this);
    }
}

} // namespace Pelo
