#pragma once

namespace Mox {

/// The end of every walk over a collection.
struct WalkEnd {};

/// A walker over something that changes meanwhile, which finds its walkers, from the innermost on,
/// to keep them right. `Walker` derives from this.
template <class Walker>
class NestedWalker {
  public:
    /// The walker that was the innermost before; null: none.
    [[nodiscard]] Walker *outer() const noexcept { return outer_; }

  protected:
    void enter(Walker *&innermost) noexcept {
        outer_ = innermost;
        // g++ 12 does not see that the destructor removes the address again.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdangling-pointer"
#endif
        innermost = static_cast<Walker *>(this);
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic pop
#endif
    }
    void leave(Walker *&innermost) noexcept {
        Walker **link = &innermost;
        while (*link != this) { // mostly it is the innermost
            link = &static_cast<NestedWalker *>(*link)->outer_;
        }
        *link = outer_;
    }

  private:
    Walker *outer_ = nullptr;
};

/// A range-for walk over a Collection, a Set or a MemberList. `Walker` walks over the storage,
/// `View` makes what the loop gets for a record. See DenseTable::Walker for what a walk survives.
template <class Walker, class View>
class Walk {
  public:
    template <class Table>
    explicit Walk(Table const &table) noexcept : walker_(table), record_(walker_.next()) {}

    decltype(auto) operator*() const noexcept { return View::of(*record_); }
    Walk &operator++() noexcept {
        record_ = walker_.next();
        return *this;
    }
    bool operator!=(WalkEnd) const noexcept { return record_ != nullptr; }

  private:
    Walker walker_;
    decltype(walker_.next()) record_;
};

} // namespace Mox
