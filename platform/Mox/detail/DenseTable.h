#pragma once

#include "Mox/detail/Hash.h"
#include "Mox/detail/IndexStride.h"
#include "Mox/detail/Walk.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <new>
#include <optional>
#include <type_traits>
#include <utility>

namespace Mox {

/// The storage of Collection and Set: contiguous records in order of insertion and, if there is
/// room for more than twelve, a hashed index of their places. Most collections have few elements or
/// none, so a table is one pointer, to one block of memory with all of that; a new one has no
/// block. The block of the first `kOwnRoom` records is within the table.
///
/// A record has a type `Key`, a `key()`, and `kKeyIsElsewhere`, which says whether that is in
/// another object; it can be moved. A removed record leaves a dead place, so that removal is O(1)
/// and disturbs no walk. When more places are dead than alive, the table removes the dead ones and
/// adjusts its walkers. All operations are amortized O(1). A lookup allocates nothing, and neither
/// does a table of steady size.
template <class Record, std::uint32_t kOwnRoom = 0>
class DenseTable {
  public:
    using Key = typename Record::Key;
    class Walker;

  private:
    /// Whether a place keeps the hash of its key: not if the key itself is as cheap to hash and to
    /// compare, and at hand. In a table of few, a look at each one's object is cheap enough.
    static constexpr bool kCheapKey = sizeof(Key) <= 8 && std::is_trivially_copyable_v<Key>;
    static constexpr bool kKeepsHash = !kCheapKey || (Record::kKeyIsElsewhere && kOwnRoom == 0);
    struct NoHash {};

    struct alignas(Record) alignas(std::uint32_t) Place {
        union {
            Record record; // exists unless the place is dead
        };
        [[no_unique_address]] std::conditional_t<kKeepsHash, std::uint32_t, NoHash> keptHash;

        Place(Record &&of, std::uint32_t hash) : record(std::move(of)) {
            if constexpr (kKeepsHash) {
                keptHash = hash;
            }
        }
        ~Place() {}
        Place(Place const &) = delete;
        Place &operator=(Place const &) = delete;

        [[nodiscard]] std::uint32_t hash() const noexcept {
            if constexpr (kKeepsHash) {
                return keptHash;
            } else {
                return hashOf(record.key()) | kLive;
            }
        }
    };

  public:
    DenseTable() noexcept = default;
    DenseTable(DenseTable const &) = delete;
    DenseTable &operator=(DenseTable const &) = delete;
    ~DenseTable() {
        if (block_ == nullptr) {
            return;
        }
        for (Walker *walker = block_->walkers; walker != nullptr; walker = walker->outer()) {
            walker->table_ = nullptr;
            walker->next_ = walker->end_ = nullptr;
        }
        // A record's destructor may look into the table, and then finds it empty. It must not
        // insert.
        Block *const released = std::exchange(block_, nullptr);
        for (Place *place = released->begin(); place != released->end(); ++place) {
            if (!released->isDead(place)) {
                place->record.~Record();
            }
        }
        free(released);
    }

    [[nodiscard]] std::size_t size() const noexcept { return block_ == nullptr ? 0 : block_->live; }

    /// The record of `key`, or null. Valid until the table changes; its key must not change.
    [[nodiscard]] Record const *find(Key const &key) const noexcept {
        return const_cast<DenseTable *>(this)->find(key);
    }
    [[nodiscard]] Record *find(Key const &key) noexcept {
        if (block_ == nullptr) {
            return nullptr;
        }
        Place *const place = block_->placeOf(key);
        return place == nullptr ? nullptr : &place->record;
    }

    /// Gets memory for `records` in all, if that is more than there is.
    void reserve(std::size_t records) {
        auto const room = static_cast<std::uint32_t>(records);
        if (block_ != nullptr && room > block_->capacity) {
            moveToNew(room);
        } else if (block_ == nullptr && room > kOwnRoom) {
            block_ = Block::make(room);
        }
    }

    /// Appends a record whose key is not in the table.
    Record &append(Record &&record) {
        if (block_ == nullptr) {
            block_ = firstBlock();
        } else if (block_->size == block_->capacity) {
            makeRoom();
        }
        std::uint32_t const hash = hashOf(record.key()) | kLive;
        Place *const place = new (block_->end()) Place(std::move(record), hash);
        ++block_->size;
        ++block_->live;
        block_->enterIndex(hash, place);
        for (Walker *walker = block_->walkers; walker != nullptr; walker = walker->outer()) {
            walker->end_ = block_->end();
        }
        return place->record;
    }

    /// Removes and returns the record of `key`, if there is one. `key` may be the record's own.
    std::optional<Record> take(Key const &key) {
        if (size() == 0) {
            return std::nullopt;
        }
        Place *const place = block_->placeOf(key);
        if (place == nullptr) {
            return std::nullopt;
        }
        block_->leaveIndex(place);
        std::optional<Record> taken(std::move(place->record));
        place->record.~Record();
        block_->dies(place);
        if (block_->live == 0) {
            clearPlaces();
        } else if (block_->size > kSmall && block_->size - block_->live > block_->live) {
            closeUp();
        }
        return taken;
    }

    /// Moves all records to the empty table `taken`, which nobody walks. Current walks have nothing
    /// left to visit; for them the table gets a new block.
    void takeAll(DenseTable &taken) {
        if (block_ == nullptr) {
            return;
        }
        Walker *const walkers = std::exchange(block_->walkers, nullptr);
        taken.free(std::exchange(taken.block_, nullptr));
        if (isOwn(block_)) {
            taken.block_ = taken.firstBlock();
            block_->moveTo(*taken.block_);
        } else {
            taken.block_ = block_;
        }
        block_ = nullptr;
        if (walkers != nullptr) { // they stay here
            block_ = firstBlock();
            block_->walkers = walkers;
            block_->walkersAtEnd();
        }
    }

    /// One walk over the records, in order of insertion. It visits each record that stays in the
    /// table exactly once, whatever else changes. It also visits records appended during the walk.
    class Walker : public NestedWalker<Walker> {
      public:
        explicit Walker(DenseTable const &table) noexcept {
            if (Block *const block = table.block_) { // else the walk ends at once
                next_ = block->begin();
                end_ = block->end();
                table_ = &table;
                this->enter(block->walkers);
            }
        }
        ~Walker() {
            if (table_ != nullptr) {
                this->leave(table_->block_->walkers);
            }
        }
        Walker(Walker const &) = delete;
        Walker &operator=(Walker const &) = delete;

        /// The next record, or null at the end. Valid until the table changes.
        Record const *next() noexcept {
            while (next_ != end_) {
                Place const *const place = next_++;
                if (!table_->block_->isDead(place)) [[likely]] {
                    return &place->record;
                }
            }
            return nullptr;
        }

      private:
        friend class DenseTable;

        Place const *next_ = nullptr; // the table updates both when places move
        Place const *end_ = nullptr;
        DenseTable const *table_ = nullptr; // also null once the table is destroyed
    };

  private:
    static constexpr std::uint32_t kLive = 1U << 31U;
    static constexpr std::uint32_t kSmall = 12; // up to here a scan is as fast as an index

    /// Room for several small records at once: the allocator rounds small requests up anyway.
    static constexpr std::uint32_t kFirstRoom = sizeof(Place) > 8 ? 1 : 40 / sizeof(Place);
    static_assert(kOwnRoom <= kSmall);

    // An index entry is one number: the position of the place plus 2 in its low bits, and above
    // them as many bits of the hash as fit, which avoid most comparisons with a wrong record. The
    // top bit is kLive of the hash, so that entries without a record match no hash. A lookup
    // compares kStride entries at once, which costs less than a branch for each; for this the first
    // entries are repeated after the last.
    static constexpr std::uint32_t kEmpty = 0;
    static constexpr std::uint32_t kDeleted = 1;
    static constexpr std::uint32_t kFirstPosition = 2;
    static constexpr std::uint32_t kStride = IndexStride::kWidth;

    /// Places in order of insertion. Behind those of a large block are its index, and a bit for
    /// each place that says whether it is dead; a small block has only the bits, in itself.
    struct Block {
        Walker *walkers = nullptr;
        std::uint32_t live = 0;
        std::uint32_t size = 0; // with the dead places
        std::uint32_t capacity;
        std::uint32_t maskOrDead; // large: the size of the index, a power of two, less 1

        explicit Block(std::uint32_t room) noexcept
            : capacity(room), maskOrDead(room <= kSmall ? 0 : std::bit_ceil(2 * room) - 1) {}

        static Block *make(std::uint32_t room) {
            static_assert(alignof(Place) <= alignof(Block));
            Block const block(room);
            void *const memory =
                ::operator new(sizeof(Block) + room * sizeof(Place) +
                               (block.entries() + block.deadWords()) * sizeof(std::uint32_t));
            auto *const made = new (memory) Block(block);
            made->clearIndex();
            made->clearDead();
            return made;
        }
        [[nodiscard]] bool isSmall() const noexcept { return capacity <= kSmall; }
        [[nodiscard]] Place *begin() noexcept { return reinterpret_cast<Place *>(this + 1); }
        [[nodiscard]] Place *end() noexcept { return begin() + size; }
        [[nodiscard]] std::uint32_t positionOf(Place const *place) noexcept {
            return static_cast<std::uint32_t>(place - begin());
        }
        [[nodiscard]] std::uint32_t *index() noexcept {
            return reinterpret_cast<std::uint32_t *>(begin() + capacity);
        }
        [[nodiscard]] std::uint32_t mask() const noexcept { return maskOrDead; }
        [[nodiscard]] std::size_t entries() const noexcept {
            return isSmall() ? 0 : std::size_t{mask()} + kStride;
        }
        [[nodiscard]] std::size_t deadWords() const noexcept {
            return isSmall() ? 0 : (capacity + 31) / 32;
        }
        [[nodiscard]] std::uint32_t *deadWord(std::uint32_t position) noexcept {
            return isSmall() ? &maskOrDead : index() + entries() + position / 32;
        }
        [[nodiscard]] bool isDead(Place const *place) noexcept {
            return live != size && hasDied(place);
        }
        [[nodiscard]] bool hasDied(Place const *place) noexcept {
            std::uint32_t const position = positionOf(place);
            return (*deadWord(position) >> position % 32U & 1U) != 0;
        }
        void dies(Place *place) noexcept {
            if constexpr (kKeepsHash) {
                place->keptHash = 0;
            }
            std::uint32_t const position = positionOf(place);
            *deadWord(position) |= 1U << position % 32U;
            --live;
        }

        [[nodiscard]] Place *placeOf(Key const &key) noexcept {
            if (isSmall()) {
                return scan(key);
            }
            std::uint32_t const hash = hashOf(key) | kLive;
            for (std::uint32_t i = hash & mask();; i = (i + kStride) & mask()) {
                std::uint32_t const *const entries = index() + i;
                unsigned same = IndexStride::matches(entries, hash, ~mask());
                for (; same != 0; same &= same - 1) {
                    Place *const place =
                        begin() + ((entries[std::countr_zero(same)] & mask()) - kFirstPosition);
                    if (place->record.key() == key) [[likely]] {
                        return place;
                    }
                }
                if (IndexStride::matches(entries, kEmpty, ~std::uint32_t{0}) != 0) {
                    return nullptr;
                }
            }
        }
        [[nodiscard]] Place *scan(Key const &key) noexcept {
            if constexpr (kKeepsHash) { // of a dead place it is 0
                std::uint32_t const hash = hashOf(key) | kLive;
                for (Place *place = begin(); place != end(); ++place) {
                    if (place->keptHash == hash && place->record.key() == key) {
                        return place;
                    }
                }
            } else {
                std::uint32_t dead = maskOrDead;
                for (Place *place = begin(); place != end(); ++place, dead >>= 1U) {
                    if ((dead & 1U) == 0 && place->record.key() == key) {
                        return place;
                    }
                }
            }
            return nullptr;
        }

        [[nodiscard]] std::uint32_t indexEntry(std::uint32_t hash, Place const *place) noexcept {
            return (hash & ~mask()) | (positionOf(place) + kFirstPosition);
        }
        void enterIndex(std::uint32_t hash, Place const *place) noexcept {
            if (!isSmall()) {
                std::uint32_t i = hash & mask();
                while (index()[i] > kDeleted) {
                    i = (i + 1) & mask();
                }
                indexIs(i, indexEntry(hash, place));
            }
        }
        void leaveIndex(Place const *place) noexcept {
            if (!isSmall()) {
                std::uint32_t const hash = place->hash();
                std::uint32_t const entry = indexEntry(hash, place);
                std::uint32_t i = hash & mask();
                while (index()[i] != entry) {
                    i = (i + 1) & mask();
                }
                indexIs(i, kDeleted);
            }
        }
        void indexIs(std::uint32_t i, std::uint32_t entry) noexcept {
            index()[i] = entry;
            if (i < kStride - 1) {
                index()[mask() + 1 + i] = entry;
            }
        }
        void clearIndex() noexcept { std::fill_n(index(), entries(), kEmpty); }
        void clearDead() noexcept {
            isSmall() ? void(maskOrDead = 0) : void(std::fill_n(deadWord(0), deadWords(), 0U));
        }

        void walkersAtEnd() noexcept {
            for (Walker *walker = walkers; walker != nullptr; walker = walker->outer()) {
                walker->next_ = walker->end_ = end();
            }
        }

        /// Moves the live records, with the walkers, to `to`: an empty block, or this one.
        void moveTo(Block &to) noexcept {
            to.walkers = walkers;
            Place *const from = begin();
            Place *const last = end();
            bool const anyDead = live != size;
            to.size = 0;
            to.live = live;
            to.clearIndex();
            for (Place *place = from;; ++place) {
                for (Walker *walker = to.walkers; walker != nullptr; walker = walker->outer()) {
                    if (walker->next_ == place) {
                        walker->next_ = to.end(); // compared no more: it is not behind `place`
                    }
                }
                if (place == last) {
                    break;
                }
                if (!anyDead || !hasDied(place)) {
                    to.accept(*place);
                }
            }
            if (&to == this) {
                clearDead();
            }
            for (Walker *walker = to.walkers; walker != nullptr; walker = walker->outer()) {
                walker->end_ = to.end();
            }
        }
        void accept(Place &place) noexcept {
            std::uint32_t const hash = place.hash();
            Place *const now = end();
            if (now != &place) {
                new (now) Place(std::move(place.record), hash);
                place.record.~Record();
            }
            ++size;
            enterIndex(hash, now);
        }
    };

    struct NoRoom {};
    struct OwnRoom {
        alignas(Block) std::byte bytes[sizeof(Block) + kOwnRoom * sizeof(Place)];
    };

    [[nodiscard]] bool isOwn(Block const *block) const noexcept {
        return kOwnRoom > 0 &&
               static_cast<void const *>(block) == static_cast<void const *>(&ownRoom_);
    }

    [[nodiscard]] Block *firstBlock() {
        if constexpr (kOwnRoom > 0) {
            return new (&ownRoom_) Block(kOwnRoom);
        } else {
            return Block::make(kFirstRoom);
        }
    }

    void free(Block *block) noexcept {
        if (!isOwn(block)) {
            ::operator delete(block);
        }
    }

    /// After a place was needed and none was left.
    void makeRoom() {
        if (block_->live < (block_->isSmall() ? block_->capacity : block_->capacity / 3 * 2)) {
            block_->moveTo(*block_);
        } else {
            moveToNew(block_->capacity < kSmall    ? std::min(4 * block_->capacity, kSmall)
                      : block_->capacity == kSmall ? 32
                                                   : 2 * block_->capacity);
        }
    }

    /// After more places were dead than alive.
    void closeUp() {
        if (block_->capacity > 4 * kSmall && block_->capacity / 4 > block_->live) {
            moveToNew(std::bit_ceil(block_->live * 3) / 2);
        } else {
            block_->moveTo(*block_);
        }
    }

    void moveToNew(std::uint32_t room) {
        Block *const larger = Block::make(room);
        block_->moveTo(*larger);
        free(std::exchange(block_, larger));
    }

    /// After the last record was removed: removes the dead places, and frees the memory of a large
    /// table.
    void clearPlaces() noexcept {
        block_->size = 0;
        block_->clearIndex();
        block_->clearDead();
        block_->walkersAtEnd();
        if (!block_->isSmall() && block_->walkers == nullptr) {
            free(std::exchange(block_, nullptr));
        }
    }

    Block *block_ = nullptr;
    [[no_unique_address]] std::conditional_t<(kOwnRoom > 0), OwnRoom, NoRoom> ownRoom_;
};

} // namespace Mox
