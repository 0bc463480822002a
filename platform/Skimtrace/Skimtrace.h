#pragma once

#include "Pelo/Export.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string_view>
#include <vector>

/// The fast trace: an always-on ring of the last handler entries of the process, to be read after
/// something went wrong. Recording allocates nothing and formats nothing.
namespace Skimtrace {

/// Records kept; older ones are overwritten.
inline constexpr std::size_t kCapacity = 4096;

/// Names of more bytes are cut in the record.
inline constexpr std::size_t kNameBytes = 31;

/// The names that a record carries, such as policy, match and flow.
struct Names {
    std::string_view first{};
    std::string_view second{};
    std::string_view third{};
};

/// A place in the code whose entries are recorded and counted, such as the beginning of a handler.
/// A static variable of its function, so that it lives as long as the process:
///
///     static constinit Skimtrace::Point entered("UmoNatFlowMatchSm::handleNatFlow policy %s");
///     entered.record({policy_});
class PLATFORM_API Point {
  public:
    /// `format` must be a string literal; in it the dump replaces each "%s" with the next name,
    /// and each "%u" with the number. Its first word names the place.
    constexpr explicit Point(char const *format) noexcept : format_(format) {}

    /// Records one entry.
    void record(Names const &names = {}, std::uint32_t number = 0) noexcept;

    /// The first word of the format.
    [[nodiscard]] std::string_view name() const noexcept;

    /// How often the place was entered since the process began.
    [[nodiscard]] std::uint64_t entries() const noexcept { return entries_; }

  private:
    friend std::vector<Point const *> points();

    char const *format_;
    std::uint64_t entries_ = 0;
    Point const *enteredBefore_ = nullptr; // the next in the list of all that were entered
};

/// All places that were entered since the process began, by name.
PLATFORM_API std::vector<Point const *> points();

/// Writes the newest `count` records, oldest first, a line each: running number, then the text.
PLATFORM_API void dump(std::ostream &out, std::size_t count = kCapacity);

} // namespace Skimtrace
