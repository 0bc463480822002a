#pragma once

#include "Base/Export.h"
#include "Pelo/Attribute.h"

#include <cstdint>
#include <memory>

namespace Pelo {

class Notifier;

/// Whom a notifier tells: one subscriber, or several.
class Audience {
  protected:
    explicit Audience(bool several) noexcept : several_(several) {}

  private:
    friend class Notifier;

    bool several_;
};

/// One connection from a notifier to a callback. It ends when the subscriber or the notifier is
/// destroyed; neither owns the other.
class PLATFORM_API Subscriber : private Audience {
  public:
    using Callback = void (*)(void *context, Change const &change);

    /// `context` is passed to every call; the caller owns it.
    Subscriber(Callback callback, void *context) noexcept
        : Audience(false), callback_(callback), context_(context) {}
    ~Subscriber() { detach(); }
    Subscriber(Subscriber const &) = delete;
    Subscriber &operator=(Subscriber const &) = delete;

    [[nodiscard]] bool attached() const noexcept { return notifier_ != nullptr; }
    [[nodiscard]] void *context() const noexcept { return context_; }

    /// While off, changes are not delivered, not even later.
    void activeIs(bool active) noexcept;

    /// Ends the connection; allowed at any time, also during its own call.
    void detach() noexcept;

  private:
    friend class Notifier;
    friend class Publisher;

    bool active_ = false;
    std::uint32_t place_ = 0; // among several
    Callback callback_;
    void *context_;
    Notifier const *notifier_ = nullptr;
};

/// The public side of a publisher: it allows subscribing only.
///
/// Subscribers are called synchronously, in the order in which they subscribed. While a change is
/// being published, subscribers may be added, removed or destroyed, and the notifier may be
/// destroyed. A removed subscriber is not called any more; an added one is notified of later
/// changes only. Publishing allocates nothing.
class PLATFORM_API Notifier {
  public:
    Notifier(Notifier const &) = delete;
    Notifier &operator=(Notifier const &) = delete;

    /// Connects `subscriber`, which must not be attached yet. `active` is its initial state, see
    /// Subscriber::activeIs.
    void subscriberAdd(Subscriber &subscriber, bool active = true) const;

    [[nodiscard]] bool hasSubscribers() const noexcept {
        return several() ? places().size > places().empty : who_ != nullptr;
    }

    /// Disconnects `subscriber`; does nothing if it is not attached here.
    void subscriberRemove(Subscriber &subscriber) const noexcept;

  protected:
    friend class Subscriber;

    Notifier() noexcept;
    ~Notifier();

    /// Several subscribers in order of subscription. A place holds the call to make, so that a
    /// publication reads nothing else; if the subscriber is off or removed, that call does nothing.
    /// The place of a removed subscriber stays until no publication walks the list and half of it
    /// is empty.
    struct PLATFORM_API Places : Audience {
        Places() noexcept : Audience(true) {}

        struct Place {
            Subscriber::Callback call = &callNobody;
            void *context = nullptr;
            Subscriber *subscriber = nullptr;
        };

        std::unique_ptr<Place[]> places;
        std::uint32_t size = 0;
        std::uint32_t capacity = 0;
        std::uint32_t empty = 0;
        // A flag, not a count: consecutive publications need not wait for it.
        bool publishing = false; // the list is walked, by one publication or by nested ones
        bool unsettled = false;  // a subscriber or the notifier was removed meanwhile
        bool orphaned = false;   // the notifier was destroyed

        void add(Subscriber &subscriber);
        void remove(std::size_t place) noexcept;
        void closeUp() noexcept;
        void settle() noexcept; // after the outermost publication

        /// Calls those who subscribed before this change; the places may move meanwhile.
        void tell(Change const &change) const {
            std::uint32_t const count = size;
            for (std::uint32_t i = 0; i < count; ++i) {
                Place const &place = places[i];
                place.call(place.context, change);
            }
        }

        static void callNobody(void *context, Change const &change);
        [[noreturn]] static void stop() noexcept; // with the current exception
    };

    [[nodiscard]] bool several() const noexcept { return who_ != nullptr && who_->several_; }
    [[nodiscard]] Places &places() const noexcept { return static_cast<Places &>(*who_); }
    [[nodiscard]] Subscriber &only() const noexcept { return static_cast<Subscriber &>(*who_); }

    // Null, the only subscriber, or the places of several: most entities have none or one.
    mutable Audience *who_ = nullptr;
};

/// A notifier that can also publish; its owner keeps it private. An exception that leaves a
/// subscriber's call ends the process with its text: a partly delivered change cannot be rolled
/// back.
class PLATFORM_API Publisher : public Notifier {
  public:
    Publisher() noexcept = default;

    /// Inline, so that the calls are made from the publisher's own library.
    void publishChange(Change const &change) const noexcept {
        if (who_ == nullptr) {
            return;
        }
        try {
            if (several()) {
                tellSeveral(change);
            } else if (Subscriber const &one = only(); one.active_) {
                one.callback_(one.context_, change); // which may destroy it, and this
            }
        } catch (...) {
            Places::stop();
        }
    }

  private:
    void tellSeveral(Change const &change) const {
        Places &all = places(); // outlives this publisher if a subscriber destroys it
        if (all.publishing) [[unlikely]] {
            all.tell(change);
            return;
        }
        all.publishing = true;
        all.tell(change);
        all.publishing = false;
        if (all.unsettled) [[unlikely]] {
            all.settle();
        }
    }
};

} // namespace Pelo
