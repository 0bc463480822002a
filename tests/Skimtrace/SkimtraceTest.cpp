#include "Skimtrace/Skimtrace.h"
#include "bench/HeapCount.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>

using namespace Skimtrace;

namespace {

std::string dumped(std::size_t count) {
    std::ostringstream out;
    dump(out, count);
    return out.str();
}
std::string line(std::uint64_t number, std::string const &text) {
    return std::to_string(number) + " " + text + "\n";
}

constinit Point sentence("policy: %s, match: %s, flow: %s");
constinit Point odd("%s%s|%s|%s|%u %u 100% %d");
constinit Point percent("%");
constinit Point named("%s");
constinit Point numbered("%s %u");

TEST(Skimtrace, DumpPutsNamesAndNumberInTheirPlaces) {
    std::string const exact(kNameBytes, 'x');
    std::string gone = "policy 1";
    sentence.record({gone, exact, exact + "y"});
    gone = "overwritten";
    odd.record({"a", {}, "c"}, 4294967295U);
    percent.record({"unused"});
    std::uint64_t const n = std::stoull(dumped(3));
    EXPECT_EQ(dumped(3), line(n, "policy: policy 1, match: " + exact + ", flow: " + exact) +
                             line(n + 1, "a|c|%s|4294967295 4294967295 100% %d") +
                             line(n + 2, "%"));
    std::string const letters = "abcdefghijklmnopqrstuvwxyzABCDEF"; // one more than fit
    for (std::size_t length = 0; length <= letters.size(); ++length) {
        named.record({std::string(letters, 0, length)});
        EXPECT_EQ(dumped(1), line(n + 3 + length, letters.substr(0, std::min(length, kNameBytes))));
    }
}

TEST(Skimtrace, CountsTheEntriesOfEachPlaceByName) {
    static constinit Point b("b %s"), a("a");
    [[maybe_unused]] static constinit Point never("c");
    b.record();
    a.record();
    b.record();
    std::string counts;
    for (Point const *point : points()) {
        if (point->name().size() == 1 && point->name() != "%") {
            counts += std::string(point->name()) + std::to_string(point->entries()) + " ";
        }
    }
    EXPECT_EQ(counts, "a1 b2 "); // a place that was never entered has no count
}

TEST(Skimtrace, KeepsTheNewestRecordsOldestFirstAndAllocatesNothing) {
    std::string const name = "a name that is too long for the record";
    std::string const shown = name.substr(0, kNameBytes) + " ";
    sentence.record();
    std::uint64_t const end = std::stoull(dumped(1)) + 1 + kCapacity + 10;
    std::size_t const before = Bench::allocations();
    for (std::uint32_t i = 0; i < kCapacity + 10; ++i) {
        numbered.record({name, name, name}, i);
    }
    EXPECT_EQ(Bench::allocations(), before);
    for (std::size_t const asked : {std::size_t{3}, kCapacity, kCapacity + 1}) {
        std::string expected;
        for (std::size_t left = std::min(asked, kCapacity); left > 0; --left) {
            expected += line(end - left, shown + std::to_string(kCapacity + 10 - left));
        }
        EXPECT_TRUE(dumped(asked) == expected) << asked << " records:\n" << dumped(3);
    }
}

} // namespace
