#pragma once

namespace Mox {

/// The end of every walk over a collection.
struct WalkEnd {};

/// A range-for walk over a Collection or a Set. `Walker` walks over the storage, `View` makes what
/// the loop gets for a record. See DenseTable::Walker for what a walk survives.
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
