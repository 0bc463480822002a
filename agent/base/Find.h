#pragma once

namespace UmoAgent {

/// The map's value of a key, or null. Valid while the map keeps it.
template <class Map>
auto *findIn(Map &map, typename Map::key_type const &key) {
    auto const at = map.find(key);
    return at == map.end() ? nullptr : &at->second;
}

} // namespace UmoAgent
