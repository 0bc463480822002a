#pragma once

#include "Mox/Hash.h"

#include <bit>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace Mox {

/// The storage under Collection and Set: records in the order of their insertion, side by side,
/// and beside them, from the ninth record on, a hashed index of places.
///
/// A record has a `key` and can be moved. A removed record leaves a dead place behind, so that
/// removal is O(1) and disturbs no walk; when more places are dead than alive the table closes
/// up and moves its walkers along. All operations are amortized O(1) and a lookup allocates
/// nothing.
template <class Record>
class DenseTable {
  public:
    using Key = decltype(Record::key);

    DenseTable() noexcept = default;
    DenseTable(DenseTable const &) = delete;
    DenseTable &operator=(DenseTable const &) = delete;
    ~DenseTable() {
        for (Walker *walker = walkers_; walker != nullptr; walker = walker->nextWalker_) {
            walker->table_ = nullptr;
        }
        walkers_ = nullptr;
        // A record's destructor may look into the table: it finds it empty already.
        std::vector<Place> released(std::move(places_));
        index_.reset();
        live_ = 0;
        for (Place &place : released) { // in order, which a vector's own end leaves open
            [[maybe_unused]] Record const last(std::move(place.record));
        }
    }

    [[nodiscard]] std::size_t size() const noexcept { return live_; }

    /// The record of `key`, or null. Valid until the table changes; its key must stay as it is.
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
        places_.push_back(Place{std::move(record), hash});
        ++live_;
        if (index_ != nullptr) {
            enterIndex(hash, places_.size() - 1);
        }
        return places_.back().record;
    }

    /// Takes the record of `key`, if there is one, out of the table and hands it over. `key` may
    /// be the record's own.
    std::optional<Record> take(Key const &key) {
        std::uint32_t const hash = hashOf(key);
        std::size_t const place = placeOf(key, hash);
        if (place == kNone) {
            return std::nullopt;
        }
        if (index_ != nullptr) {
            index_[indexPlaceOf(hash | kLive, place)] = kDeleted;
        }
        std::optional<Record> taken(std::move(places_[place].record));
        places_[place].hash = 0;
        --live_;
        if (places_.size() > kSmall && places_.size() - live_ > live_) {
            rebuild();
        }
        return taken;
    }

    /// Moves all records to the empty table `taken`; walks under way find nothing left to visit.
    void takeAll(DenseTable &taken) noexcept {
        std::swap(places_, taken.places_);
        std::swap(index_, taken.index_);
        std::swap(indexSize_, taken.indexSize_);
        std::swap(live_, taken.live_);
        for (Walker *walker = walkers_; walker != nullptr; walker = walker->nextWalker_) {
            walker->next_ = 0;
        }
    }

    /// One walk over the records. It visits every record that is in the table from its beginning
    /// to its end exactly once, in the order of insertion, whatever else happens to the table
    /// meanwhile; records appended on the way are visited too.
    class Walker {
      public:
        explicit Walker(DenseTable const &table) noexcept
            : table_(&table), nextWalker_(table.walkers_) {
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
            if (table_ == nullptr) {
                return nullptr;
            }
            Place const *const places = table_->places_.data();
            std::size_t const end = table_->places_.size();
            while (next_ < end) {
                Place const &place = places[next_++];
                if (place.hash != 0) {
                    return &place.record;
                }
            }
            return nullptr;
        }

      private:
        friend class DenseTable;

        void enter(DenseTable const &table) noexcept {
            // g++ 12 does not see that the destructor takes the address out again.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdangling-pointer"
#endif
            table.walkers_ = this;
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic pop
#endif
        }

        DenseTable const *table_; // null once the table is gone
        std::size_t next_ = 0;
        Walker *nextWalker_;
    };

  private:
    struct Place {
        Record record;
        std::uint32_t hash; // with kLive set; 0 where the record was taken out
    };

    static constexpr std::uint32_t kLive = 1U << 31U;
    static constexpr std::size_t kSmall = 8; // up to here a scan is as fast as an index
    static constexpr std::size_t kNone = ~std::size_t{0};

    // A place in the index is one number: the position in `places_` (plus 2) in its low bits and
    // as much of the hash as there is room for above, which spares most looks at a wrong record.
    static constexpr std::uint32_t kEmpty = 0;
    static constexpr std::uint32_t kDeleted = 1;
    static constexpr std::uint32_t kFirstPosition = 2;

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
        for (std::uint32_t i = hash & mask;; i = (i + 1) & mask) {
            std::uint32_t const entry = index_[i];
            if (entry == kEmpty) {
                return kNone;
            }
            if (entry != kDeleted && ((entry ^ hash) & ~mask) == 0) {
                std::size_t const place = (entry & mask) - kFirstPosition;
                if (places_[place].record.key == key) {
                    return place;
                }
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
        index_[i] = indexEntry(hash, place);
    }

    /// Closes up the dead places and sizes the index for half as many records again.
    void rebuild() {
        std::uint32_t const indexSize =
            live_ < kSmall ? 0 : static_cast<std::uint32_t>(std::bit_ceil(live_ * 3));
        // The one step that can fail comes first.
        auto index = indexSize == 0 ? nullptr : std::make_unique<std::uint32_t[]>(indexSize);
        for (Walker *walker = walkers_; walker != nullptr; walker = walker->nextWalker_) {
            std::size_t liveBefore = 0;
            for (std::size_t i = 0; i < walker->next_; ++i) {
                liveBefore += places_[i].hash != 0 ? 1 : 0;
            }
            walker->next_ = liveBefore;
        }
        std::erase_if(places_, [](Place const &place) { return place.hash == 0; });
        if (places_.capacity() / 4 > places_.size()) {
            places_.shrink_to_fit();
        }
        index_ = std::move(index);
        indexSize_ = indexSize;
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
