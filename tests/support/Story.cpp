#include "tests/support/Story.h"

#include <regex>
#include <utility>

namespace TestSupport {

std::string storyOf(std::vector<std::string> &lines) {
    static std::pair<std::regex, char const *> const words[] = {
        {std::regex("^UmoNatFlow\\w+/\\d "), ""},
        {std::regex("UmoNatFlow(\\w+)Sm::"), "$1::"},
        {std::regex(", policy: (\\w+)"), " $1"},
        {std::regex(", (?:match|action): "), "."},
        {std::regex("notifyActionSm(\\w+)(?:, \\w+:)?"), "> $1"},
        {std::regex("NatFlowGroup\\(policy p, match (.*)\\)"), " $1"},
        {std::regex("NatFlow(Vlan|Src|Dst)\\w+\\(group (\\d+), port set (\\d+).*"), " $1 $2/$3"}};
    std::string story;
    for (std::string line : std::exchange(lines, {})) {
        for (auto const &[from, to] : words) {
            line = std::regex_replace(line, from, to);
        }
        story += line + "|";
    }
    return story;
}

} // namespace TestSupport
