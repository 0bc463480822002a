#pragma once

#include "Base/Export.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iosfwd>
#include <string_view>
#include <vector>

/// The fast trace: an always-on ring of the last handler entries of the process, to be read after
/// something went wrong. Recording allocates nothing and formats nothing.
namespace Skimtrace {

/// Records kept; older ones are overwritten.
inline constexpr std::size_t kCapacity = 4096;

/// Longer names are truncated to this many bytes in the record.
inline constexpr std::size_t kNameBytes = 31;

/// The names that a record carries, such as policy, match and flow.
struct Names {
    std::string_view first{};
    std::string_view second{};
    std::string_view third{};
};

/// A name in a record, truncated to kNameBytes.
class ShortName {
  public:
    void is(std::string_view name) noexcept {
        std::size_t const count = std::min(name.size(), kNameBytes);
        size_ = static_cast<std::uint8_t>(count);
        if (count >= 16) {
            copyEnds<16>(name.data(), count);
        } else if (count >= 8) {
            copyEnds<8>(name.data(), count);
        } else if (count >= 4) {
            copyEnds<4>(name.data(), count);
        } else if (count > 0) {
            bytes_[0] = name[0];
            bytes_[count / 2] = name[count / 2];
            bytes_[count - 1] = name[count - 1];
        }
    }
    [[nodiscard]] std::string_view text() const noexcept { return {bytes_, size_}; }

  private:
    /// Copies `count` bytes, from Width to twice Width, as two pieces that may overlap: a copy of
    /// fixed width is one instruction, a counted one is a call.
    template <std::size_t Width>
    void copyEnds(char const *from, std::size_t count) noexcept {
        std::memcpy(bytes_, from, Width);
        std::memcpy(bytes_ + count - Width, from + count - Width, Width);
    }

    std::uint8_t size_;
    char bytes_[kNameBytes];
};

/// Takes two cache lines, so that a shift finds its place.
struct alignas(128) Record {
    char const *format;
    std::uint32_t number;
    std::array<ShortName, 3> names;
};

/// The process's one ring.
struct Ring {
    std::array<Record, kCapacity> records;
    std::uint64_t recorded; // total; the next record goes to this modulo kCapacity
};
PLATFORM_API extern Ring ring;

/// A place in the code whose entries are recorded and counted, such as the beginning of a handler.
/// Define it as a static variable of its function, so that it lives as long as the library in
/// which it is:
///
///     static constinit Skimtrace::Point entered("UmoNatFlowMatchSm::handleNatFlow policy %s");
///     entered.record({policy_});
class PLATFORM_API Point {
  public:
    /// `format` must live as long as the point, as a string literal does. The dump replaces in it
    /// each "%s" with the next name, and each "%u" with the number. Its first word names the place.
    constexpr explicit Point(char const *format) noexcept : format_(format) {}

    /// Records one entry. Inline: a call would double the cost.
    void record(Names const &names = {}, std::uint32_t number = 0) noexcept {
        if (entries_++ == 0) [[unlikely]] {
            joinEntered();
        }
        Record &record = ring.records[ring.recorded++ % kCapacity];
        record.format = format_;
        record.number = number;
        record.names[0].is(names.first);
        record.names[1].is(names.second);
        record.names[2].is(names.third);
    }

    /// The first word of the format.
    [[nodiscard]] std::string_view name() const noexcept;

    /// How often the place was entered since the process started.
    [[nodiscard]] std::uint64_t entries() const noexcept { return entries_; }

  private:
    friend std::vector<Point const *> points();
    friend void forgetLibraryOf(void const *address);

    void joinEntered() noexcept;

    char const *format_;
    std::uint64_t entries_ = 0;
    Point *enteredBefore_ = nullptr; // the next in the list of entered places
};

/// All places that were entered since the process started, in order of name, but for those in
/// libraries that were unloaded.
PLATFORM_API std::vector<Point const *> points();

/// Forgets the places in the library that holds `address`, and keeps the texts of their records. A
/// library with places calls it when it is unloaded.
PLATFORM_API void forgetLibraryOf(void const *address);

/// Writes the newest `count` records, oldest first, a line each: its number, then the text.
PLATFORM_API void dump(std::ostream &out, std::size_t count = kCapacity);

} // namespace Skimtrace
