#pragma once

#include "Base/Export.h"
#include "Mox/Census.h"

#include <atomic>
#include <cstdint>

namespace Mox {

/// Whether all counts are atomic. Decided when the platform is built (UMO_THREAD_SAFE_POINTERS), so
/// that a plain count costs one instruction; the package tells its users.
#ifdef UMO_THREAD_SAFE_POINTERS
inline constexpr bool kThreadSafePointers = true;
#else
inline constexpr bool kThreadSafePointers = false;
#endif

/// Base of everything that is held by Mox::Ptr: an intrusive reference count, the deletion mark and
/// the notification switch. An object lives on the heap, and is destroyed with its last reference.
/// It belongs to the event loop's thread; only the count may be shared between threads, and only if
/// everything in the process was built for that (kThreadSafePointers).
class PLATFORM_API PtrInterface {
  public:
    PtrInterface(PtrInterface const &) = delete;
    PtrInterface &operator=(PtrInterface const &) = delete;

    /// For Mox::Ptr: adds and removes one reference.
    void referenceInc() const noexcept {
        if constexpr (kThreadSafePointers) {
            shared().fetch_add(1, std::memory_order_relaxed);
        } else {
            ++references_;
        }
    }
    void referenceDec() const noexcept {
        std::uint32_t left;
        if constexpr (kThreadSafePointers) {
            left = shared().fetch_sub(1, std::memory_order_acq_rel) - 1;
        } else {
            left = --references_;
        }
        if (left == 0) {
            handleZeroReferences();
        }
    }

    [[nodiscard]] std::uint32_t references() const noexcept {
        return shared().load(std::memory_order_relaxed);
    }

    /// True once the destruction of a reactor has begun: its own subscriptions no longer react.
    [[nodiscard]] bool markedForDeletion() const noexcept { return markedForDeletion_; }

    /// Whether the object reacts to what it follows. Off until its creator switches it on. An
    /// object with nested reactors switches those too.
    [[nodiscard]] bool hasNotificationActive() const noexcept { return notificationActive_; }
    virtual void hasNotificationActiveIs(bool active) { notificationActive_ = active; }

  protected:
    PtrInterface() = default;
    virtual ~PtrInterface();

    void markForDeletion() noexcept { markedForDeletion_ = true; }

    /// Hold the object while its construction hands out pointers to it: releasing such a pointer
    /// must not destroy an object that has no owner yet. Neither does unpin().
    void pin() const noexcept { referenceInc(); }
    void unpin() const noexcept {
        if constexpr (kThreadSafePointers) {
            shared().fetch_sub(1, std::memory_order_relaxed);
        } else {
            --references_;
        }
    }

  private:
    friend class Census;

    void handleZeroReferences() const noexcept;

    /// The count for atomic access. It is stored as a plain number, so that a plain increment is
    /// one instruction.
    [[nodiscard]] std::atomic_ref<std::uint32_t> shared() const noexcept {
        return std::atomic_ref<std::uint32_t>(references_);
    }

    mutable std::uint32_t references_ = 0;
    bool markedForDeletion_ = false;
    bool notificationActive_ = false;
    mutable Census::ClassNumber censusClass_ = 0;
};

} // namespace Mox
