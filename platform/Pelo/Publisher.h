#pragma once

#include "Base/Export.h"
#include "Pelo/Attribute.h"

#include <cstddef>
#include <cstdint>
#include <memory>

namespace Pelo {

class Notifier;

/// One connection from a notifier to a callback. It ends with the subscriber's destruction, or
/// with the notifier's, whichever comes first; neither keeps the other alive.
class PLATFORM_API Subscriber {
  public:
    using Callback = void (*)(void *context, Change const &change);

    /// `context` is handed to every call and stays the owner's.
    Subscriber(Callback callback, void *context) noexcept
        : callback_(callback), context_(context) {}
    ~Subscriber() { detach(); }
    Subscriber(Subscriber const &) = delete;
    Subscriber &operator=(Subscriber const &) = delete;

    [[nodiscard]] bool attached() const noexcept { return notifier_ != nullptr; }

    /// While off, changes pass by unheard; they are not made up for later.
    void activeIs(bool active) noexcept;

    /// Ends the connection; allowed at any time, its own call included.
    void detach() noexcept;

  private:
    friend class Notifier;

    Callback callback_;
    void *context_;
    Notifier const *notifier_ = nullptr;
    std::size_t place_ = 0;
};

/// The side of a publisher that the world sees: here one may subscribe, and no more.
///
/// Subscribers are called synchronously, in the order in which they subscribed. Any of them may
/// be added, removed or destroyed while a change is being published, and so may the notifier
/// itself: one that was removed is not called any more, one that was added hears of the next
/// change. Publishing allocates nothing.
class PLATFORM_API Notifier {
  public:
    Notifier(Notifier const &) = delete;
    Notifier &operator=(Notifier const &) = delete;

    /// Connects `subscriber`, which must not be attached elsewhere. It is told of changes while
    /// `active` holds.
    void subscriberAdd(Subscriber &subscriber, bool active = true) const;

    /// Whether there is, or was, a subscriber.
    [[nodiscard]] bool everSubscribed() const noexcept { return places_ != nullptr; }

    /// Disconnects `subscriber`; one that is not attached here is left as it is.
    void subscriberRemove(Subscriber &subscriber) const noexcept;

  protected:
    friend class Subscriber;

    Notifier() noexcept;
    ~Notifier();

    /// The subscribers in order of subscription. A place holds the call to make, so that a
    /// publication looks nowhere else; that of a subscriber who is off, or has gone, calls
    /// nobody. A place whose subscriber has gone stays until no publication walks the list and
    /// half of it is empty.
    struct PLATFORM_API Places {
        struct Place {
            Subscriber::Callback call = &callNobody;
            void *context = nullptr;
            Subscriber *subscriber = nullptr;
        };

        Place *places = &first;
        std::uint32_t size = 0;
        std::uint32_t capacity = 1;
        std::uint32_t empty = 0;
        // A flag, not a count: publications that follow each other need not wait for it.
        bool publishing = false;       // the list is walked, by one publication or by nested ones
        bool unsettled = false;        // a subscriber, or the notifier, went meanwhile
        bool orphaned = false;         // the notifier did
        Place first;                   // most notifiers have one subscriber
        std::unique_ptr<Place[]> more; // instead of `first`

        void add(Subscriber &subscriber);
        void remove(std::size_t place) noexcept;
        void closeUp() noexcept;
        void settle() noexcept; // after the outermost publication

        /// Tells those that subscribed before; the places may move meanwhile.
        void tell(Change const &change) const {
            std::uint32_t const count = size;
            for (std::uint32_t i = 0; i < count; ++i) {
                Place const &place = places[i];
                place.call(place.context, change);
            }
        }

        static void callNobody(void *context, Change const &change);
        [[noreturn]] static void stop() noexcept; // on the exception in flight
    };

    mutable Places *places_ = nullptr; // none until somebody subscribes
};

/// A notifier with the right to publish; its owner keeps it to itself. An exception that leaves
/// a subscriber's call ends the process with its text: a change half told cannot be taken back.
class PLATFORM_API Publisher : public Notifier {
  public:
    Publisher() noexcept = default;

    /// In line, so that the calls are made from the publisher's own library.
    void publishChange(Change const &change) const noexcept {
        if (places_ == nullptr) {
            return;
        }
        Places &places = *places_; // outlives this publisher if a subscriber destroys it
        try {
            if (places.publishing) [[unlikely]] {
                places.tell(change);
                return;
            }
            places.publishing = true;
            places.tell(change);
            places.publishing = false;
        } catch (...) {
            Places::stop();
        }
        if (places.unsettled) [[unlikely]] {
            places.settle();
        }
    }
};

} // namespace Pelo
