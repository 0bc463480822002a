#pragma once

#include "Mox/detail/DenseTable.h"
#include "Mox/detail/Walk.h"

#include <cstddef>
#include <optional>
#include <utility>

namespace Mox {

/// A keyed collection with hashed lookup and iteration in the order of insertion.
///
///     for (auto const &[name, child] : children_) { ... }
///
/// A walk survives everything that its body may do to the collection: removal of the current
/// element or of any other, insertion, clearing, and the end of the collection itself. Elements
/// that are removed before the walk comes to them are not visited, inserted ones are. The loop
/// is given the value by copy, so a child held by Ptr lives until the body ends whatever it did;
/// the key refers into the collection and is valid until the body changes the collection.
///
/// Removal takes the element out first and releases it after: a destructor that looks into the
/// collection finds its element gone. Lookup and iteration allocate nothing.
template <class Key, class ValueType>
class Collection {
  public:
    using Value = ValueType;

    struct Record {
        Key key;
        Value value;
    };
    struct Element {
        static Element of(Record const &record) { return {record.key, record.value}; }
        Key const &key;
        Value value;
    };

    [[nodiscard]] std::size_t size() const noexcept { return table_.size(); }
    [[nodiscard]] bool empty() const noexcept { return table_.size() == 0; }

    /// The value of `key`, or null. Valid until the collection changes. Values lie in memory in the
    /// order of their insertion, so that addresses tell which of two came first.
    [[nodiscard]] Value const *find(Key const &key) const noexcept {
        Record const *record = table_.find(key);
        return record == nullptr ? nullptr : &record->value;
    }
    [[nodiscard]] Value *find(Key const &key) noexcept {
        Record *record = table_.find(key);
        return record == nullptr ? nullptr : &record->value;
    }

    /// Adds an element whose key the collection does not have.
    Value &insert(Key const &key, Value value) {
        return table_.append(Record{key, std::move(value)}).value;
    }

    /// Adds the element, or gives the one that is there a new value. Returns whether anything
    /// changed.
    bool assign(Key const &key, Value value) {
        Value *const held = find(key);
        if (held == nullptr) {
            insert(key, std::move(value));
            return true;
        }
        if (*held == value) {
            return false;
        }
        std::swap(*held, value); // the old value is released when the collection shows the new
        return true;
    }

    /// Takes the element out and hands it over; nothing if there is none. `key` may refer into
    /// the collection. The element is released with what is returned.
    std::optional<Record> remove(Key const &key) { return table_.take(key); }

    /// Takes all elements out, then releases them in the order of their insertion.
    void clear() { Collection().takeAll(*this); }

    /// Exchanges the contents of this empty collection for those of `other`.
    void takeAll(Collection &other) noexcept { other.table_.takeAll(table_); }

    [[nodiscard]] auto begin() const noexcept { return walkAs<Element>(); }
    [[nodiscard]] WalkEnd end() const noexcept { return {}; }

    /// A walk whose loop is given `View::of` each record.
    template <class View>
    [[nodiscard]] auto walkAs() const noexcept {
        return Walk<typename DenseTable<Record>::Walker, View>(table_);
    }

  private:
    DenseTable<Record> table_;
};

} // namespace Mox
