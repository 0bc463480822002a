#pragma once

#include "Mox/Collection.h"

#include <algorithm>
#include <functional>
#include <utility>
#include <vector>

namespace UmoAgent {

/// Sorts items into the order of `collection`, which has the key that `keyOf` gives for each.
template <class Key, class Value, class Item, class KeyOf>
std::vector<Item> inOrderOf(Mox::Collection<Key, Value> const &collection, std::vector<Item> items,
                            KeyOf keyOf) {
    std::sort(items.begin(), items.end(), [&](Item const &a, Item const &b) {
        return std::less<>()(collection.find(keyOf(a)), collection.find(keyOf(b)));
    });
    return items;
}

/// The same for the keys themselves.
template <class Key, class Value>
std::vector<Key> inOrderOf(Mox::Collection<Key, Value> const &collection, std::vector<Key> keys) {
    return inOrderOf(collection, std::move(keys),
                     [](Key const &key) -> Key const & { return key; });
}

} // namespace UmoAgent
