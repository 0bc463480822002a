#pragma once

#include "Base/Export.h"
#include "Mox/Census.h"

#include <atomic>
#include <cstdint>

namespace Mox {

/// Base of everything that is held by Mox::Ptr: an intrusive reference count, and the two marks
/// that every object of the framework carries. An object lives on the heap, is destroyed by the
/// release of its last reference, and belongs to the thread of the event loop; the count alone
/// may be shared between threads, and only in thread-safe mode.
class PLATFORM_API PtrInterface {
  public:
    PtrInterface(PtrInterface const &) = delete;
    PtrInterface &operator=(PtrInterface const &) = delete;

    /// Switches all counts of the process between plain and atomic increments. To be called
    /// while a single thread runs.
    static void threadSafeIs(bool on) noexcept { threadSafe_ = on; }

    /// For Mox::Ptr: takes and gives back one reference.
    void referenceInc() const noexcept {
        if (threadSafe_) [[unlikely]] {
            shared().fetch_add(1, std::memory_order_relaxed);
        } else {
            ++references_;
        }
    }
    void referenceDec() const noexcept {
        std::uint32_t left;
        if (threadSafe_) [[unlikely]] {
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

    /// True from the moment the object's end has begun: nothing of it reacts any more.
    [[nodiscard]] bool markedForDeletion() const noexcept { return markedForDeletion_; }

    /// Whether the object reacts to what it follows. Off until its creator switches it on; an
    /// object with nested reactors switches them along with itself.
    [[nodiscard]] bool hasNotificationActive() const noexcept { return notificationActive_; }
    virtual void hasNotificationActiveIs(bool active) { notificationActive_ = active; }

  protected:
    PtrInterface() = default;
    virtual ~PtrInterface();

    void markForDeletion() noexcept { markedForDeletion_ = true; }

    /// Holds the object while its own construction hands out pointers to it: the release of such
    /// a pointer must not destroy what is not yet owned. Leaves the count as it was, and never
    /// destroys.
    class Pin {
      public:
        explicit Pin(PtrInterface const &object) noexcept : object_(object) {
            object_.referenceInc();
        }
        ~Pin() { object_.shared().fetch_sub(1, std::memory_order_relaxed); }
        Pin(Pin const &) = delete;
        Pin &operator=(Pin const &) = delete;

      private:
        PtrInterface const &object_;
    };

  private:
    friend class Census;

    void handleZeroReferences() const noexcept;

    /// The count as threads may share it. It is a plain number, so that plain increments are the
    /// one instruction that they can be.
    [[nodiscard]] std::atomic_ref<std::uint32_t> shared() const noexcept {
        return std::atomic_ref<std::uint32_t>(references_);
    }

    static bool threadSafe_;

    mutable std::uint32_t references_ = 0;
    bool markedForDeletion_ = false;
    bool notificationActive_ = false;
    mutable Census::ClassNumber censusClass_ = 0;
};

} // namespace Mox
