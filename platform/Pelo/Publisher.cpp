#include "Pelo/Publisher.h"

#include "Base/Assert.h"

#include <algorithm>

namespace Pelo {

void Notifier::Places::add(Subscriber &subscriber) {
    if (size == capacity) {
        auto grown = std::make_unique<Place[]>(std::size_t{capacity} * 4);
        std::copy_n(places, size, grown.get());
        more = std::move(grown);
        places = more.get();
        capacity *= 4;
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
    auto const *const end = std::remove_if(
        places, places + size, [](Place const &place) { return place.subscriber == nullptr; });
    size = static_cast<std::uint32_t>(end - places);
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
    if (places_ == nullptr) {
        return;
    }
    for (std::uint32_t i = 0; i < places_->size; ++i) {
        Places::Place &place = places_->places[i];
        if (place.subscriber != nullptr) {
            place.subscriber->notifier_ = nullptr;
            place = Places::Place();
        }
    }
    if (places_->publishing) {
        places_->orphaned = places_->unsettled = true; // the outermost publication frees it
    } else {
        delete places_;
    }
}

void Notifier::subscriberAdd(Subscriber &subscriber, bool active) const {
    Base::assertThat(!subscriber.attached(), "!subscriber.attached()");
    if (places_ == nullptr) {
        places_ = new Places;
    }
    places_->add(subscriber);
    subscriber.notifier_ = this;
    subscriber.activeIs(active);
}

void Notifier::subscriberRemove(Subscriber &subscriber) const noexcept {
    if (subscriber.notifier_ == this) {
        subscriber.notifier_ = nullptr;
        places_->remove(subscriber.place_);
    }
}

void Subscriber::activeIs(bool active) noexcept {
    if (notifier_ != nullptr) {
        Notifier::Places::Place &place = notifier_->places_->places[place_];
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
