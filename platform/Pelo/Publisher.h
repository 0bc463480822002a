#pragma once

#include "Pelo/Attribute.h"
#include "Pelo/Export.h"

#include <cstddef>

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
    void activeIs(bool active) noexcept { active_ = active; }

    /// Ends the connection; allowed at any time, its own call included.
    void detach() noexcept;

  private:
    friend class Notifier;
    friend class Publisher;

    Callback callback_;
    void *context_;
    Notifier const *notifier_ = nullptr;
    std::size_t place_ = 0;
    bool active_ = true;
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

    /// Disconnects `subscriber`; one that is not attached here is left as it is.
    void subscriberRemove(Subscriber &subscriber) const noexcept;

  protected:
    Notifier() noexcept;
    ~Notifier();

    struct Places;
    mutable Places *places_ = nullptr; // none until somebody subscribes
};

/// A notifier with the right to publish; its owner keeps it to itself. An exception that leaves
/// a subscriber's call ends the process with its text: a change half told cannot be taken back.
class PLATFORM_API Publisher : public Notifier {
  public:
    Publisher() noexcept = default;

    void publishChange(Change const &change) const noexcept {
        if (places_ != nullptr) {
            publishToSubscribers(change);
        }
    }

  private:
    void publishToSubscribers(Change const &change) const noexcept;
};

} // namespace Pelo
