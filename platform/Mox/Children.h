#pragma once

#include "Mox/Collection.h"
#include "Mox/Ptr.h"
#include "Mox/detail/Walk.h"

#include <cstddef>
#include <cstdint>

namespace Mox {

/// The children of an entity, by their own keys.
template <class Key, class Child, std::uint32_t kOwnRoom = 0>
using Children = Collection<Key, Ptr<Child>, OwnKeyRecord<Key, Ptr<Child>>, kOwnRoom>;

/// A collection of objects as a const entity shows it: with each object const. Valid while the
/// collection exists. Walks follow the same rules as walks over the collection.
template <class Collection>
class ConstObjects {
    using Key = typename Collection::Record::Key;
    using Child = typename Collection::Value::Object;

  public:
    struct Element {
        template <class Record>
        static Element of(Record const &record) {
            return {record.key(), record.value};
        }
        Key const &key;
        Ptr<Child const> value;
    };

    explicit ConstObjects(Collection const &children) noexcept : children_(children) {}

    [[nodiscard]] std::size_t size() const noexcept { return children_.size(); }
    [[nodiscard]] bool empty() const noexcept { return children_.empty(); }

    /// The child of `key`, or null. Valid until the collection changes.
    [[nodiscard]] Child const *find(Key const &key) const noexcept {
        Ptr<Child> const *const child = children_.find(key);
        return child == nullptr ? nullptr : child->ptr();
    }

    [[nodiscard]] auto begin() const noexcept { return children_.template walkAs<Element>(); }
    [[nodiscard]] WalkEnd end() const noexcept { return {}; }

  private:
    Collection const &children_;
};

template <class Key, class Child>
using ConstChildren = ConstObjects<Children<Key, Child>>;

} // namespace Mox
