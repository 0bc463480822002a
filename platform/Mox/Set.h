#pragma once

#include "Mox/detail/DenseTable.h"
#include "Mox/detail/Walk.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>

namespace Mox {

/// A set with hashed lookup and iteration in the order of insertion. A walk survives the same
/// changes as a walk over a Collection. The loop gets the keys by copy. The first `kOwnRoom` keys
/// need no heap.
template <class KeyType, std::uint32_t kOwnRoom = 0>
class Set {
    struct Record {
        using Key = KeyType;
        static constexpr bool kKeyIsElsewhere = false;
        Key itsKey;
        [[nodiscard]] Key const &key() const noexcept { return itsKey; }
    };
    struct View {
        static KeyType of(Record const &record) { return record.itsKey; }
    };
    using Key = KeyType;

  public:
    [[nodiscard]] std::size_t size() const noexcept { return table_.size(); }
    [[nodiscard]] bool empty() const noexcept { return table_.size() == 0; }
    [[nodiscard]] bool contains(Key const &key) const noexcept {
        return table_.find(key) != nullptr;
    }

    /// Returns whether the key was new.
    bool insert(Key const &key) {
        if (contains(key)) {
            return false;
        }
        table_.append(Record{key});
        return true;
    }

    /// Removes and returns the key; nothing if it is not in the set. `key` may refer into the set.
    std::optional<Key> remove(Key const &key) {
        std::optional<Record> taken = table_.take(key);
        return taken ? std::optional<Key>(std::move(taken->itsKey)) : std::nullopt;
    }

    void clear() { Set().takeAll(*this); }

    /// Moves all keys of `other` into this empty set, which nobody walks.
    void takeAll(Set &other) noexcept { other.table_.takeAll(table_); }

    [[nodiscard]] auto begin() const noexcept {
        return Walk<typename DenseTable<Record, kOwnRoom>::Walker, View>(table_);
    }
    [[nodiscard]] WalkEnd end() const noexcept { return {}; }

  private:
    DenseTable<Record, kOwnRoom> table_;
};

} // namespace Mox
