#pragma once

#include "Mox/detail/Walk.h"

#include <cstddef>
#include <utility>

namespace Mox {

template <class Owner, class Member>
class Membership;

/// Members in the order in which they joined. Who is a member holds a Membership, which is its
/// place in the list: joining and leaving look nothing up, and cost the same in a list of a hundred
/// thousand as in a list of two.
///
///     for (Member *const member : list) { ... }
///
/// A walk survives what a walk over a Collection does: any member may leave, others may join, and
/// the list may be destroyed. Members who leave before the walk reaches them are not visited, those
/// who join are.
template <class OwnerType, class MemberType>
class MemberList {
    using Place = Membership<OwnerType, MemberType>;

  public:
    using Owner = OwnerType;
    using Member = MemberType;
    class Walker;

    /// `owner` is what the list belongs to, and outlives it.
    explicit MemberList(Owner &owner) noexcept : owner_(owner) {}
    MemberList(MemberList const &) = delete;
    MemberList &operator=(MemberList const &) = delete;
    ~MemberList() {
        while (first_ != nullptr) {
            first_->leave();
        }
        for (Walker *walker = walkers_; walker != nullptr; walker = walker->outer()) {
            walker->list_ = nullptr;
        }
    }

    [[nodiscard]] Owner &owner() const noexcept { return owner_; }
    [[nodiscard]] std::size_t size() const noexcept { return size_; }
    [[nodiscard]] bool empty() const noexcept { return size_ == 0; }
    /// The member who has been in it longest; null: there is none.
    [[nodiscard]] Member *first() const noexcept {
        return first_ == nullptr ? nullptr : first_->member_;
    }

    /// A walk that shows only those who join from now on. Who is next in it tells them from those
    /// who were there before.
    [[nodiscard]] Walker joiners() const noexcept { return Walker(*this, nullptr); }

    [[nodiscard]] auto begin() const noexcept { return Walk<Walker, View>(*this); }
    [[nodiscard]] WalkEnd end() const noexcept { return {}; }

    class Walker : public NestedWalker<Walker> {
      public:
        explicit Walker(MemberList const &list) noexcept : Walker(list, list.first_) {}
        ~Walker() {
            if (list_ != nullptr) {
                this->leave(list_->walkers_);
            }
        }
        Walker(Walker const &) = delete;
        Walker &operator=(Walker const &) = delete;

        /// The next member, or null at the end.
        Member *next() noexcept {
            return next_ == nullptr ? nullptr : std::exchange(next_, next_->next_)->member_;
        }
        /// The same, without going there.
        [[nodiscard]] Member *peek() const noexcept {
            return next_ == nullptr ? nullptr : next_->member_;
        }

      private:
        friend class MemberList;

        Walker(MemberList const &list, Place const *next) noexcept : list_(&list), next_(next) {
            this->enter(list.walkers_);
        }

        MemberList const *list_; // null once it is destroyed
        Place const *next_;      // the list updates it
    };

  private:
    friend Place;

    struct View {
        static Member *of(Member &member) noexcept { return &member; }
    };

    /// Makes `now` the place between those two; null: there is none.
    void placeIs(Place *previous, Place *now, Place *next) noexcept {
        (previous == nullptr ? first_ : previous->next_) = now == nullptr ? next : now;
        (next == nullptr ? last_ : next->previous_) = now == nullptr ? previous : now;
    }
    void walkersMoveOn(Place const *from, Place const *to) noexcept {
        for (Walker *walker = walkers_; walker != nullptr; walker = walker->outer()) {
            if (walker->next_ == from) {
                walker->next_ = to;
            }
        }
    }

    Owner &owner_;
    Place *first_ = nullptr;
    Place *last_ = nullptr;
    std::size_t size_ = 0;
    mutable Walker *walkers_ = nullptr;
};

/// A place in a list: its holder's member is in the list as long as both exist.
template <class Owner, class Member>
class Membership {
  public:
    using List = MemberList<Owner, Member>;
    using Key = List *;
    static constexpr bool kKeyIsElsewhere = false;

    /// Joins at the end of `list`, whose members `member` is not yet among.
    Membership(List &list, Member &member) noexcept
        : list_(&list), member_(&member), previous_(list.last_) {
        list.placeIs(previous_, this, nullptr);
        list.walkersMoveOn(nullptr, this);
        ++list.size_;
    }
    /// Takes the other's place, which is then none.
    Membership(Membership &&other) noexcept
        : list_(std::exchange(other.list_, nullptr)),
          member_(other.member_),
          previous_(other.previous_),
          next_(other.next_) {
        if (list_ != nullptr) {
            list_->placeIs(previous_, this, next_);
            list_->walkersMoveOn(&other, this);
        }
    }
    Membership &operator=(Membership &&) = delete;
    ~Membership() { leave(); }

    /// The list, which identifies a membership among those of its member; null: none.
    [[nodiscard]] Key const &key() const noexcept { return list_; }

  private:
    friend List;
    friend typename List::Walker;

    void leave() noexcept {
        if (list_ == nullptr) {
            return;
        }
        list_->placeIs(previous_, nullptr, next_);
        list_->walkersMoveOn(this, next_);
        --list_->size_;
        list_ = nullptr;
        if (next_ != nullptr) { // members mostly leave in the order in which they joined
            __builtin_prefetch(next_->next_);
        }
    }

    List *list_;
    Member *member_;
    Membership *previous_;
    Membership *next_ = nullptr;
};

} // namespace Mox
