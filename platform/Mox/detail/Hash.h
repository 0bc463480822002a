#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>

namespace Mox {

/// The hash of a collection key: std::hash of the key, spread over 32 bits. std::hash returns
/// integers and pointers unchanged, which would form clusters in a table that probes neighbouring
/// places.
template <class Key>
std::uint32_t hashOf(Key const &key) noexcept {
    std::uint64_t const spread = std::uint64_t{std::hash<Key>()(key)} * 0x9E3779B97F4A7C15U;
    return static_cast<std::uint32_t>(spread >> 32U);
}

/// The hash of a name: multiplies two words at a time to double width and folds the product; the
/// last words may overlap. Names are looked up often, and std::hash takes twice as long.
inline std::uint32_t hashOf(std::string const &name) noexcept {
    constexpr std::uint64_t kOdd = 0x9E3779B97F4A7C15U;
    auto const folded = [](std::uint64_t a, std::uint64_t b) {
        __extension__ using Wide = unsigned __int128;
        Wide const product = Wide{a} * b;
        return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64U);
    };
    auto const word = [](char const *bytes, auto of) {
        std::memcpy(&of, bytes, sizeof of);
        return std::uint64_t{of};
    };
    char const *bytes = name.data();
    std::size_t left = name.size();
    std::uint64_t hash = left;
    for (; left > 16; left -= 16, bytes += 16) {
        hash = folded(word(bytes, std::uint64_t{}) ^ kOdd, word(bytes + 8, std::uint64_t{}) ^ hash);
    }
    std::uint64_t first = 0;
    std::uint64_t last = 0;
    if (left >= 8) {
        first = word(bytes, std::uint64_t{});
        last = word(bytes + left - 8, std::uint64_t{});
    } else if (left >= 4) {
        first = word(bytes, std::uint32_t{});
        last = word(bytes + left - 4, std::uint32_t{});
    } else if (left > 0) {
        first = word(bytes, std::uint8_t{}) << 8U | word(bytes + left / 2, std::uint8_t{});
        last = word(bytes + left - 1, std::uint8_t{});
    }
    hash = folded(first ^ kOdd, last ^ hash ^ ~kOdd);
    return static_cast<std::uint32_t>(hash * kOdd >> 32U);
}

} // namespace Mox
