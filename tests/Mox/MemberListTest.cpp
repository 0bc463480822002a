#include "Mox/MemberList.h"

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <memory>
#include <string>

using namespace Mox;

namespace {

/// Letters in a list. All memberships move whenever one letter joins or leaves.
struct Club {
    using Letter = char const;
    using Places = std::map<char, Membership<Club, Letter>>;

    MemberList<Club, Letter> list{*this};
    Places places;

    void move() {
        Places moved;
        for (auto &[letter, place] : places) {
            moved.try_emplace(letter, std::move(place));
        }
        places.swap(moved);
    }
    void join(char const *letters) {
        for (; *letters != '\0'; ++letters, move()) {
            places.try_emplace(*letters, list, *letters);
        }
    }
    void leave(std::string const &letters) {
        for (char const letter : letters) {
            EXPECT_EQ(places.erase(letter), 1U);
            move();
        }
    }
    [[nodiscard]] std::string text() const {
        std::string found;
        for (Letter *const letter : list) {
            found += *letter;
        }
        EXPECT_EQ(found.size(), list.size());
        return found;
    }
};

TEST(MemberList, WalksWithinWalksShowEachMemberOnceInOrderWhateverBecomesOfTheList) {
    std::unique_ptr<Club> club;
    struct {
        std::function<void()> act; // within both walks, at c
        std::string behind;        // what the walks show then
        std::string left;
    } const cases[] = {
        {[&] { club->leave("c"); }, "def", "abdef"},
        {[&] { club->leave("bd"); }, "ef", "acef"},
        {[&] { club->leave("def"); }, "", "abc"},
        {[&] { club->leave("def"), club->join("xd"); }, "xd", "abcxd"},
        {[&] { club->leave("fedcba"), club->join("xy"); }, "xy", "xy"},
        {[&] { club->leave("a"), club->join("a"), club->leave("d"); }, "efa", "bcefa"},
        {[&] { club.reset(); }, "", ""},
    };
    for (auto const &[act, behind, left] : cases) {
        club = std::make_unique<Club>();
        club->join("abcdef");
        std::string outer, inner;
        for (char const *const letter : club->list) {
            outer += *letter;
            if (*letter == 'c') {
                for (char const *const within : club->list) {
                    inner += *within;
                    *within == 'c' ? act() : void();
                }
            }
        }
        EXPECT_EQ(outer, "abc" + behind);
        EXPECT_EQ(inner, outer);
        EXPECT_EQ(club ? club->text() : "", left);
    }
}

} // namespace
