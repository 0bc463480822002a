#pragma once

namespace UmoAgent {

/// What a map has under a key, or null. Valid as long as the map keeps it.
template <class Map>
auto *findIn(Map &map, typename Map::key_type const &key) {
    auto const at = map.find(key);
    return at == map.end() ? nullptr : &at->second;
}

} // namespace UmoAgent
