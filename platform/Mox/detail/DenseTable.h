#pragma once

#include "Mox/detail/Hash.h"
#include "Mox/detail/IndexStride.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace Mox {

/// The storage of Collection and Set: contiguous records in order of insertion and, from the ninth
/// record on, a hashed index of their places.
///
/// A record has a `key` and can be moved. A removed record leaves a dead place, so that removal is
/// O(1) and disturbs no walk. When more places are dead than alive, the table removes the dead ones
/// and adjusts its walkers. All operations are amortized O(1). A lookup allocates nothing, and
/// neither does a table of steady size.
template <class Record>
class DenseTable {
    struct Place {
        Record record;
        std::uint32_t hash; // with kLive set; 0 where the record was removed
    };

  public:
    using Key = decltype(Record::key);

    DenseTable() noexcept = default;
    DenseTable(DenseTable const &) = delete;
    DenseTable &operator=(DenseTable const &) = delete;
    ~DenseTable() {
        for (Walker *walker = walkers_; walker != nullptr; walker = walker->nextWalker_) {
            walker->table_ = nullptr;
            walker->next_ = walker->end_ = nullptr;
        }
        walkers_ = nullptr;
        // A record's destructor may look into the table, and then finds it empty.
        std::vector<Place> released(std::move(places_));
        index_.reset();
        live_ = 0;
        for (Place &place : released) { // in order, unlike a vector's destructor
            [[maybe_unused]] Record const last(std::move(place.record));
        }
    }

    [[nodiscard]] std::size_t size() const noexcept { return live_; }

    /// The record of `key`, or null. Valid until the table changes; its key must not change.
    [[nodiscard]] Record const *find(Key const &key) const noexcept {
        std::size_t const place = placeOf(key, hashOf(key));
        return place == kNone ? nullptr : &places_[place].record;
    }
    [[nodiscard]] Record *find(Key const &key) noexcept {
        return const_cast<Record *>(std::as_const(*this).find(key));
    }

    /// Appends a record whose key is not in the table.
    Record &append(Record &&record) {
        if (places_.size() == capacity()) {
            rebuild();
        }
        std::uint32_t const hash = hashOf(record.key) | kLive;
        if (walkers_ == nullptr) [[likely]] {
            addPlace(std::move(record), hash);
        } else {
            walkersLeave();
            addPlace(std::move(record), hash);
            walkersReturn();
        }
        ++live_;
        if (index_ != nullptr) {
            enterIndex(hash, places_.size() - 1);
        }
        return places_.back().record;
    }

    /// Removes and returns the record of `key`, if there is one. `key` may be the record's own.
    std::optional<Record> take(Key const &key) {
        std::uint32_t const hash = hashOf(key);
        std::size_t const place = placeOf(key, hash);
        if (place == kNone) {
            return std::nullopt;
        }
        if (index_ != nullptr) {
            indexIs(indexPlaceOf(hash | kLive, place), kDeleted);
        }
        std::optional<Record> taken(std::move(places_[place].record));
        places_[place].hash = 0;
        --live_;
        if (live_ == 0) {
            clearPlaces();
        } else if (places_.size() > kSmall && places_.size() - live_ > live_) {
            rebuild();
        }
        return taken;
    }

    /// Moves all records to the empty table `taken`; current walks have nothing left to visit.
    void takeAll(DenseTable &taken) noexcept {
        std::swap(places_, taken.places_);
        std::swap(index_, taken.index_);
        std::swap(indexSize_, taken.indexSize_);
        std::swap(live_, taken.live_);
        for (Walker *walker = walkers_; walker != nullptr; walker = walker->nextWalker_) {
            walker->next_ = walker->end_ = places_.data();
        }
    }

    /// One walk over the records, in order of insertion. It visits each record that stays in the
    /// table exactly once, whatever else changes. It also visits records appended during the walk.
    class Walker {
      public:
        explicit Walker(DenseTable const &table) noexcept
            : next_(table.places_.data()),
              end_(next_ + table.places_.size()),
              table_(&table),
              nextWalker_(table.walkers_) {
            enter(table);
        }
        ~Walker() {
            if (table_ == nullptr) {
                return;
            }
            Walker **link = &table_->walkers_;
            if (*link == this) [[likely]] { // walks nest
                *link = nextWalker_;
                return;
            }
            while (*link != this) {
                link = &(*link)->nextWalker_;
            }
            *link = nextWalker_;
        }
        Walker(Walker const &) = delete;
        Walker &operator=(Walker const &) = delete;

        /// The next record, or null at the end. Valid until the table changes.
        Record const *next() noexcept {
            while (next_ != end_) {
                Place const &place = *next_++;
                if (place.hash != 0) [[likely]] {
                    return &place.record;
                }
            }
            return nullptr;
        }

      private:
        friend class DenseTable;

        void enter(DenseTable const &table) noexcept {
            // g++ 12 does not see that the destructor removes the address again.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdangling-pointer"
#endif
            table.walkers_ = this;
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic pop
#endif
        }

        Place const *next_; // the table updates both when places move
        Place const *end_;
        std::size_t position_ = 0; // of next_, while places move
        DenseTable const *table_;  // null once the table is destroyed
        Walker *nextWalker_;
    };

  private:
    static constexpr std::uint32_t kLive = 1U << 31U;
    static constexpr std::size_t kSmall = 8; // up to here a scan is as fast as an index
    static constexpr std::size_t kNone = ~std::size_t{0};

    /// Room for several small records at once: the allocator rounds small requests up anyway.
    static constexpr std::size_t kFirstRoom = sizeof(Place) >= 24 ? 1 : 56 / sizeof(Place);

    // An index entry is one number: the position in `places_` plus 2 in its low bits, and above
    // them as many bits of the hash as fit, which avoid most comparisons with a wrong record. The
    // top bit is kLive of the hash, so that entries without a record match no hash. A lookup
    // compares kStride entries at once, which costs less than a branch for each; for this the first
    // entries are repeated after the last.
    static constexpr std::uint32_t kEmpty = 0;
    static constexpr std::uint32_t kDeleted = 1;
    static constexpr std::uint32_t kFirstPosition = 2;
    static constexpr std::uint32_t kStride = IndexStride::kWidth;

    [[nodiscard]] std::size_t capacity() const noexcept {
        return index_ == nullptr ? kSmall : indexSize_ / 2;
    }
    [[nodiscard]] std::uint32_t indexMask() const noexcept {
        return indexSize_ - 1;
    }
    [[nodiscard]] std::uint32_t indexEntry(std::uint32_t hash, std::size_t place) const noexcept {
        return (hash & ~indexMask()) | (static_cast<std::uint32_t>(place) + kFirstPosition);
    }

    [[nodiscard]] std::size_t placeOf(Key const &key, std::uint32_t hash) const noexcept {
        hash |= kLive;
        if (index_ == nullptr) {
            for (std::size_t i = 0; i < places_.size(); ++i) {
                if (places_[i].hash == hash && places_[i].record.key == key) {
                    return i;
                }
            }
            return kNone;
        }
        std::uint32_t const mask = indexMask();
        for (std::uint32_t i = hash & mask;; i = (i + kStride) & mask) {
            std::uint32_t const *const entries = &index_[i];
            unsigned same = IndexStride::matches(entries, hash, ~mask);
            for (; same != 0; same &= same - 1) {
                std::size_t const place = (entries[std::countr_zero(same)] & mask) - kFirstPosition;
                if (places_[place].record.key == key) [[likely]] {
                    return place;
                }
            }
            if (IndexStride::matches(entries, kEmpty, ~std::uint32_t{0}) != 0) {
                return kNone;
            }
        }
    }

    [[nodiscard]] std::uint32_t indexPlaceOf(std::uint32_t hash, std::size_t place) const noexcept {
        std::uint32_t i = hash & indexMask();
        while (index_[i] != indexEntry(hash, place)) {
            i = (i + 1) & indexMask();
        }
        return i;
    }

    void enterIndex(std::uint32_t hash, std::size_t place) noexcept {
        std::uint32_t i = hash & indexMask();
        while (index_[i] > kDeleted) {
            i = (i + 1) & indexMask();
        }
        indexIs(i, indexEntry(hash, place));
    }

    void indexIs(std::uint32_t i, std::uint32_t entry) noexcept {
        index_[i] = entry;
        if (i < kStride - 1) {
            index_[indexSize_ + i] = entry;
        }
    }

    void addPlace(Record &&record, std::uint32_t hash) {
        if (places_.capacity() == 0) {
            places_.reserve(kFirstRoom);
        }
        places_.push_back(Place{std::move(record), hash});
    }

    /// Save and restore the walkers' positions when places move.
    void walkersLeave() noexcept {
        for (Walker *walker = walkers_; walker != nullptr; walker = walker->nextWalker_) {
            walker->position_ = static_cast<std::size_t>(walker->next_ - places_.data());
        }
    }
    void walkersReturn() noexcept {
        for (Walker *walker = walkers_; walker != nullptr; walker = walker->nextWalker_) {
            walker->next_ = places_.data() + walker->position_;
            walker->end_ = places_.data() + places_.size();
        }
    }

    /// After the last record was removed: removes the dead places, and frees the memory of a large
    /// table.
    void clearPlaces() noexcept {
        places_.clear();
        if (index_ != nullptr) {
            index_.reset();
            indexSize_ = 0;
            std::vector<Place>().swap(places_);
        }
        for (Walker *walker = walkers_; walker != nullptr; walker = walker->nextWalker_) {
            walker->next_ = walker->end_ = places_.data();
        }
    }

    /// Removes the dead places and sizes the index for at least half as many records again.
    void rebuild() {
        std::uint32_t const indexSize =
            live_ < kSmall ? 0 : static_cast<std::uint32_t>(std::bit_ceil(live_ * 3));
        if (indexSize != indexSize_) {
            // The one step that can fail comes first.
            index_ = indexSize == 0 ? nullptr
                                    : std::make_unique<std::uint32_t[]>(indexSize + kStride - 1);
            indexSize_ = indexSize;
        } else if (index_ != nullptr) {
            std::fill_n(index_.get(), indexSize + kStride - 1, kEmpty);
        }
        for (Walker *walker = walkers_; walker != nullptr; walker = walker->nextWalker_) {
            walker->position_ = static_cast<std::size_t>(
                std::count_if(std::as_const(places_).data(), walker->next_,
                              [](Place const &place) { return place.hash != 0; }));
        }
        std::erase_if(places_, [](Place const &place) { return place.hash == 0; });
        if (places_.capacity() > 4 * kSmall && places_.capacity() / 4 > places_.size()) {
            places_.shrink_to_fit();
        }
        walkersReturn();
        for (std::size_t i = 0; index_ != nullptr && i < places_.size(); ++i) {
            enterIndex(places_[i].hash, i);
        }
    }

    std::vector<Place> places_;
    std::unique_ptr<std::uint32_t[]> index_;
    std::uint32_t indexSize_ = 0;
    std::uint32_t live_ = 0;
    mutable Walker *walkers_ = nullptr;
};

} // namespace Mox
