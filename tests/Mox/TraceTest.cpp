#include "tests/support/TraceRecorder.h"

#include <gmock/gmock.h>

#include <stdexcept>

using namespace Mox;

namespace {

std::string levelsOf(TraceHandle const &handle) {
    std::string levels;
    for (int level = 0; level <= TraceHandle::kMaxLevel; ++level) {
        levels += handle.on(level) ? std::to_string(level) : "";
    }
    return levels;
}

TEST(Trace, SettingSwitchesLevelsOfHandlesBothPresentAndFutureOrIsQuotedAndChangesNothing) {
    TraceHandle const present("Ma/tch");
    TestSupport::TraceRecorder const recorder("Ma*/0-2,Other/5,Ma/tch/9,Ma/4,Ma/tchless/5");
    TraceHandle const future("Ma/tch");
    for (char const *const malformed : {"Match", "/1", "Match/", "Match/10", "Match/1x", "Match/1-",
                                        "Match/3-1", "Match/1-2-3", " Match/1", "Ma*ch/1", ""}) {
        EXPECT_THAT([&] { traceLevelsIs("Ma*/3," + std::string(malformed)); },
                    testing::ThrowsMessage<std::invalid_argument>(
                        testing::HasSubstr('"' + std::string(malformed) + '"')));
    }
    EXPECT_EQ(levelsOf(present) + levelsOf(future), "01290129");
}

struct Counted {
    int &printed;
    friend auto &operator<<(std::ostream &out, Counted const &c) { return out << ++c.printed; }
};

TEST(Trace, FormatsItsArgumentsOnlyWhenTheLevelIsOn) {
    TraceHandle const handle("Match");
    int printed = 0;
    TestSupport::TraceRecorder const recorder("Match/1-2");
    handle.at(1, "match: ", "m1", ", ", Counted{printed}, ", ", true);
    handle.at(3, Counted{printed});
    EXPECT_EQ(recorder.messages, (std::vector<std::string>{"Match/1 match: m1, 1, true"}));
    EXPECT_EQ(printed, 1);
}

} // namespace
