#pragma once

#include "Mox/Census.h"
#include "Mox/PtrInterface.h"

#include <cstddef>
#include <type_traits>
#include <utility>

namespace Mox {

/// A strong, intrusive pointer of one word to an object derived from PtrInterface. Copying adds a
/// reference, destruction removes it; removing the last one destroys the object. Only `ptr()`
/// returns the raw pointer, so that none is taken by accident.
template <class T>
class Ptr {
  public:
    using Object = T;

    Ptr() noexcept = default;
    Ptr(std::nullptr_t) noexcept {}
    explicit Ptr(T *object) noexcept : object_(object) { take(); }
    Ptr(Ptr const &other) noexcept : object_(other.object_) { take(); }
    Ptr(Ptr &&other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
    ~Ptr() { release(); }

    /// From a pointer to the non-const object, or to a derived class.
    template <class U, class = std::enable_if_t<std::is_convertible_v<U *, T *>>>
    Ptr(Ptr<U> const &other) noexcept : object_(other.ptr()) {
        take();
    }

    /// The old object is released last, when this pointer already points to the new one.
    Ptr &operator=(Ptr other) noexcept {
        std::swap(object_, other.object_);
        return *this;
    }

    [[nodiscard]] T *ptr() const noexcept { return object_; }
    T *operator->() const noexcept { return object_; }
    T &operator*() const noexcept { return *object_; }
    explicit operator bool() const noexcept { return object_ != nullptr; }

    friend bool operator==(Ptr const &a, Ptr const &b) noexcept { return a.object_ == b.object_; }
    friend bool operator==(Ptr const &a, std::nullptr_t) noexcept { return a.object_ == nullptr; }

  private:
    void take() const noexcept {
        if (object_ != nullptr) {
            object_->referenceInc();
        }
    }
    void release() const noexcept {
        if (object_ != nullptr) {
            object_->referenceDec();
        }
    }

    T *object_ = nullptr;
};

/// Makes an object on the heap and returns the first reference to it. Make state machines with
/// reactorIs (Mox/Reactor.h) instead.
template <class T, class... Args>
Ptr<T> make(Args &&...args) {
    Ptr<T> object(new T(std::forward<Args>(args)...));
    Census::enter<T>(*object, sizeof(T));
    return object;
}

} // namespace Mox
