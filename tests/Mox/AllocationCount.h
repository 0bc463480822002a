#pragma once

#include <cstddef>

namespace TestSupport {

/// Counts the allocations of the program since its construction. The source beside it replaces
/// the program's operator new, and is therefore linked into the program of these tests only.
class AllocationCount {
  public:
    AllocationCount() noexcept : before_(total()) {}
    [[nodiscard]] std::size_t count() const noexcept { return total() - before_; }

  private:
    static std::size_t total() noexcept;
    std::size_t before_;
};

} // namespace TestSupport
