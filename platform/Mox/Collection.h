#pragma once

#include "Mox/detail/DenseTable.h"
#include "Mox/detail/Walk.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>

namespace Mox {

/// An element that has its key beside its value.
template <class KeyType, class Value>
struct KeyedRecord {
    using Key = KeyType;
    static constexpr bool kKeyIsElsewhere = false;
    Key itsKey;
    Value value;

    static KeyedRecord of(Key const &key, Value value) { return {key, std::move(value)}; }
    [[nodiscard]] Key const &key() const noexcept { return itsKey; }
};

/// An element whose value points to an object that knows its key.
template <class KeyType, class Pointer>
struct OwnKeyRecord {
    using Key = KeyType;
    static constexpr bool kKeyIsElsewhere = true;
    Pointer value;

    static OwnKeyRecord of(Key const & /*key*/, Pointer value) { return {std::move(value)}; }
    [[nodiscard]] Key const &key() const noexcept { return value->key(); }
};

/// A keyed collection with hashed lookup and iteration in the order of insertion.
///
///     for (auto const &[name, child] : children_) { ... }
///
/// A walk survives everything that its body may do to the collection: removal of any element,
/// insertion, clearing, and destruction of the collection itself. Elements removed before the walk
/// reaches them are not visited; inserted ones are. The loop gets the value by copy, so a child
/// held by Ptr lives until the body ends. The key refers into the collection, and is valid until
/// the body changes the collection.
///
/// An element is removed before it is released, so a destructor that looks into the collection no
/// longer finds it. Lookup and iteration allocate nothing. The first `kOwnRoom` elements need no
/// heap.
template <class Key, class ValueType, class RecordType = KeyedRecord<Key, ValueType>,
          std::uint32_t kOwnRoom = 0>
class Collection {
  public:
    using Value = ValueType;
    using Record = RecordType;

    struct Element {
        static Element of(Record const &record) { return {record.key(), record.value}; }
        Key const &key;
        Value value;
    };

    [[nodiscard]] std::size_t size() const noexcept { return table_.size(); }
    [[nodiscard]] bool empty() const noexcept { return table_.size() == 0; }

    /// The value of `key`, or null. Valid until the collection changes. Values are in memory in
    /// order of insertion, so their addresses show which of two was inserted first.
    [[nodiscard]] Value const *find(Key const &key) const noexcept {
        Record const *record = table_.find(key);
        return record == nullptr ? nullptr : &record->value;
    }
    [[nodiscard]] Value *find(Key const &key) noexcept {
        Record *record = table_.find(key);
        return record == nullptr ? nullptr : &record->value;
    }

    /// Gets memory for `elements` in all. It need not be called, or be right.
    void reserve(std::size_t elements) { table_.reserve(elements); }

    /// Adds an element. REQUIRES: a key that is not in the collection.
    Value &insert(Key const &key, Value value) {
        return table_.append(Record::of(key, std::move(value))).value;
    }

    /// Adds the element, or sets the value of the existing one. Returns whether anything changed.
    bool assign(Key const &key, Value value) {
        Value *const held = find(key);
        if (held == nullptr) {
            insert(key, std::move(value));
            return true;
        }
        if (*held == value) {
            return false;
        }
        std::swap(*held, value); // the old value is released after this
        return true;
    }

    /// Removes and returns the element; nothing if there is none. `key` may refer into the
    /// collection. The element is released with the returned value.
    std::optional<Record> remove(Key const &key) { return table_.take(key); }

    /// Removes all elements, then releases them in order of insertion.
    void clear() { Collection().takeAll(*this); }

    /// Moves all elements of `other` into this empty collection, which nobody walks.
    void takeAll(Collection &other) noexcept { other.table_.takeAll(table_); }

    [[nodiscard]] auto begin() const noexcept { return walkAs<Element>(); }
    [[nodiscard]] WalkEnd end() const noexcept { return {}; }

    /// A walk whose loop gets `View::of` each record.
    template <class View>
    [[nodiscard]] auto walkAs() const noexcept {
        return Walk<typename DenseTable<Record, kOwnRoom>::Walker, View>(table_);
    }

  private:
    DenseTable<Record, kOwnRoom> table_;
};

} // namespace Mox
