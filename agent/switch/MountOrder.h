#pragma once

#include <algorithm>
#include <concepts>
#include <functional>
#include <utility>
#include <vector>

namespace UmoAgent {

/// Sorts items into the order of `collection`, which has the key that `keyOf` gives for each. It
/// must say where it has its values; where objects are on the heap says nothing.
template <class Collection, class Item, class KeyOf>
requires requires(Collection const &from, KeyOf keyOf, Item const &item) {
    { from.find(keyOf(item)) } -> std::same_as<typename Collection::Value const *>;
}
std::vector<Item> inOrderOf(Collection const &collection, std::vector<Item> items, KeyOf keyOf) {
    std::sort(items.begin(), items.end(), [&](Item const &a, Item const &b) {
        return std::less<>()(collection.find(keyOf(a)), collection.find(keyOf(b)));
    });
    return items;
}

/// The same for the keys themselves.
template <class Collection, class Key>
std::vector<Key> inOrderOf(Collection const &collection, std::vector<Key> keys) {
    return inOrderOf(collection, std::move(keys),
                     [](Key const &key) -> Key const & { return key; });
}

} // namespace UmoAgent
