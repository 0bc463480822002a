#include "UmoNat/UmoNatFlowMcastSmCli.h"
#include "agent/base/AnswerFile.h"
#include "agent/base/Text.h"
#include "agent/show/Printers.h"
#include "agent/show/Values.h"

#include <algorithm>
#include <array>
#include <functional>
#include <iterator>
#include <map>
#include <ostream>
#include <string_view>

namespace UmoAgent {

namespace {

/// The beginnings of rows that cannot be printed as they are, each with its replacement.
using Beginnings = std::map<std::string, std::string, std::less<>>;

void addName(std::string &beginning, std::string const &name, std::size_t width) {
    constexpr std::size_t kColumn = 18;
    beginning.append(name).append(kColumn - std::min(kColumn, width), ' ').append(1, ' ');
}

/// The command prints names as C strings.
void addBeginning(Beginnings &beginnings, std::array<char const *, 3> const &names) {
    std::string asItIs, instead;
    for (std::string const name : names) {
        std::string const printed = printable(name);
        addName(asItIs, name, name.size());
        addName(instead, printed, width(printed));
    }
    if (printable(asItIs) != asItIs) {
        beginnings.insert_or_assign(asItIs, instead);
    }
}

Beginnings unprintableBeginnings(Ip::Nat::HwNatFlowStatus const &status) {
    Beginnings beginnings;
    for (auto const &[policyName, policy] : status.natFlow()) {
        for (auto const &[matchName, match] : policy->match()) {
            for (auto const &[actionName, action] : match->action()) {
                addBeginning(beginnings,
                             {policyName.c_str(), matchName.c_str(), actionName.c_str()});
            }
        }
    }
    return beginnings;
}

std::string answerOf(Mox::Ptr<Ip::Nat::HwNatFlowStatus> const &status,
                     std::string const &arguments) {
    constexpr std::size_t kPortion = 65536;
    AnswerFile const answer; // the command writes to a descriptor
    Pelo::String const name = "showNatFlowActionHw";
    umoNatFlowMcastSmCliCallbackFactory(name, "", status)
        ->handleCommand(answer.socket(), arguments.empty() ? name : name + ' ' + arguments);
    std::string text;
    for (std::string portion = answer.read(0, kPortion); !portion.empty();
         portion = answer.read(text.size(), kPortion)) {
        text += portion;
    }
    return text;
}

} // namespace

void printTable(Reply const &reply, Mox::Ptr<Ip::Nat::HwNatFlowStatus> const &status,
                std::string const &arguments) {
    if (reply.json) {
        reply.give(treeValue(*status, arguments), nullptr);
        return;
    }
    std::ostream &out = reply.out;
    std::string const text = answerOf(status, arguments);
    Beginnings const beginnings = unprintableBeginnings(*status);
    if (beginnings.empty()) {
        out << text;
        return;
    }
    // A name may contain a newline, so rows can only be found one after the other.
    for (std::string_view rest = text; !rest.empty();) {
        auto const next = beginnings.upper_bound(rest);
        if (next != beginnings.begin() && rest.starts_with(std::prev(next)->first)) {
            out << std::prev(next)->second;
            rest.remove_prefix(std::prev(next)->first.size());
        }
        std::size_t const end = rest.find('\n');
        out << printable(rest.substr(0, end)) << '\n';
        rest.remove_prefix(end + 1);
    }
}

} // namespace UmoAgent
