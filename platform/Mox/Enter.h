#pragma once

#include "Mox/Trace.h"
#include "Pelo/String.h"
#include "Skimtrace/Skimtrace.h"

#include <algorithm>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <type_traits>

/// Writes both traces of a handler's entry with one call.
namespace Mox {

/// A compile-time text, for use as a template argument.
template <std::size_t Size>
struct Text {
    char chars[Size]{}; // with the final zero

    consteval Text() = default;
    consteval Text(char const (&text)[Size]) { std::copy_n(text, Size, chars); }

    template <std::size_t OtherSize>
    consteval Text<Size + OtherSize - 1> operator+(Text<OtherSize> const &other) const {
        Text<Size + OtherSize - 1> joined;
        std::copy_n(other.chars, OtherSize, std::copy_n(chars, Size - 1, joined.chars));
        return joined;
    }
    template <std::size_t OtherSize>
    consteval Text<Size + OtherSize - 1> operator+(char const (&other)[OtherSize]) const {
        return *this + Text<OtherSize>(other);
    }
};

/// What the fast trace keeps of a trace line: its names in order, and its last number.
class EntryRecord {
  public:
    void name(std::string_view name) noexcept {
        if (count_ == 0) {
            names_.first = name;
        } else if (count_ == 1) {
            names_.second = name;
        } else if (count_ == 2) {
            names_.third = name;
        }
        ++count_; // known at compile time, as are the branches
    }

    /// Takes the name or number in one piece of the line: a string, an interface, a VLAN or another
    /// unsigned number, or what the piece's own `recordIn` adds. Ignores other pieces.
    template <class Piece>
    void take(Piece const &piece) noexcept {
        if constexpr (requires { piece.recordIn(*this); }) {
            piece.recordIn(*this);
        } else if constexpr (std::same_as<Piece, Pelo::String>) {
            name(piece);
        } else if constexpr (requires {
                                 { piece.stringValue() } -> std::same_as<Pelo::String const &>;
                             }) {
            name(piece.stringValue());
        } else if constexpr (requires {
                                 { piece.value() } -> std::same_as<std::uint16_t>;
                             }) {
            number_ = piece.value();
        } else if constexpr (std::unsigned_integral<Piece> && !std::same_as<Piece, bool>) {
            number_ = static_cast<std::uint32_t>(piece);
        }
    }

    [[nodiscard]] Skimtrace::Names const &names() const noexcept { return names_; }
    [[nodiscard]] std::uint32_t number() const noexcept { return number_; }

  private:
    Skimtrace::Names names_;
    std::size_t count_ = 0;
    std::uint32_t number_ = 0;
};

/// The place in the fast trace of the handler that `Format` names.
template <Text Format>
inline constinit Skimtrace::Point entryPoint(Format.chars);

/// Traces the entry of a handler: writes `pieces` to `trace` if `level` is on, and records their
/// names and their last number in the fast trace. `Format` is the record's text, as for
/// Skimtrace::Point; its first word is the handler's full name.
template <Text Format, class... Pieces>
void enter(TraceHandle const &trace, int level, Pieces const &...pieces) noexcept {
    trace.at(level, pieces...);
    EntryRecord record;
    (record.take(pieces), ...);
    entryPoint<Format>.record(record.names(), record.number());
}

} // namespace Mox
