#include "Skimtrace/Skimtrace.h"
#include "tests/Mox/AllocationCount.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

namespace Skimtrace {
namespace {

struct Line {
    std::uint64_t number;
    std::string text;
};

std::vector<Line> dumped(std::size_t count) {
    std::stringstream out;
    dump(out, count);
    std::vector<Line> lines;
    for (Line line{}; out >> line.number && out.get() == ' ' && std::getline(out, line.text);) {
        lines.push_back(line);
    }
    return lines;
}

TEST(Skimtrace, DumpPutsNamesAndNumberInTheirPlaces) {
    std::string const exact(kNameBytes, 'x'), tooLong = exact + "y";
    std::string gone = "policy 1";
    record("plain");
    record("handle, policy: %s, match: %s, flow: %s", {gone, exact, tooLong});
    gone = "overwritten";
    record("%s%s|%s|%s|%u %u 100% %d", {"a", {}, "c"}, 4294967295U);
    record("%", {"unused"});

    std::vector<std::string> texts;
    for (Line const &line : dumped(4)) {
        texts.push_back(line.text);
    }
    EXPECT_EQ(texts, (std::vector<std::string>{
                         "plain", "handle, policy: policy 1, match: " + exact + ", flow: " + exact,
                         "a|c|%s|4294967295 4294967295 100% %d", "%"}));
    EXPECT_TRUE(dumped(0).empty());
}

TEST(Skimtrace, KeepsTheNewestRecordsOldestFirstAndAllocatesNothing) {
    std::string const name = "a name that is too long for the record";
    record("before");
    std::uint64_t const before = dumped(1).at(0).number;
    TestSupport::AllocationCount const allocations;
    for (std::uint32_t i = 0; i < kCapacity + 10; ++i) {
        record("%s %u", {name, name, name}, i);
    }
    std::size_t const count = allocations.count();
    EXPECT_EQ(count, 0U);

    for (std::size_t const asked : {std::size_t{3}, kCapacity, kCapacity + 1}) {
        auto const lines = dumped(asked);
        ASSERT_EQ(lines.size(), std::min(asked, kCapacity));
        for (std::size_t i = 0; i < lines.size(); ++i) {
            std::uint64_t const record = kCapacity + 10 - lines.size() + i;
            ASSERT_EQ(lines[i].number, before + 1 + record);
            ASSERT_EQ(lines[i].text, name.substr(0, kNameBytes) + " " + std::to_string(record));
        }
    }
}

} // namespace
} // namespace Skimtrace
