#pragma once

#include <cstdint>
#include <functional>

namespace Mox {

/// The hash of a collection key: std::hash of the key, spread over 32 bits. std::hash leaves
/// integers and pointers as they are, which would crowd a table that probes neighbouring places.
template <class Key>
std::uint32_t hashOf(Key const &key) noexcept {
    std::uint64_t const spread = std::uint64_t{std::hash<Key>()(key)} * 0x9E3779B97F4A7C15U;
    return static_cast<std::uint32_t>(spread >> 32U);
}

} // namespace Mox
