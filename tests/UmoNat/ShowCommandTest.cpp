#include "UmoNat/UmoNatFlowMcastSmCli.h"
#include "UmoNat/show/Sorter.h"
#include "agent/base/AnswerFile.h"
#include "tests/support/NatSwitch.h"

using testing::ElementsAre;

namespace {

std::string const kLine = std::string(149, '-') + "\n";
std::string const kHeader = kLine +
                            "Policy             Match              Action             "
                            "Source         Destination     SPort DPort "
                            "FT PT PSet1 PSet2 Vlan Intf     Mac              \n" +
                            kLine;

/// A status tree, and what the command prints of it.
struct Show {
    Mox::Ptr<Ip::Nat::HwNatFlowStatus> tree = Mox::make<Ip::Nat::HwNatFlowStatus>();

    Mox::Ptr<Ip::Nat::HwNatFlowActionStatus> action(char const *policy, char const *match,
                                                    char const *name) const {
        auto hwAction = tree->natFlowIs(policy)->matchIs(match)->actionIs(name);
        hwAction->vlanPortSetsIs(Ip::Nat::natFlowVlanPortSetsFactory());
        return hwAction;
    }
    /// Adds a port set with one interface, by which a row is known.
    static void port(Mox::Ptr<Ip::Nat::NatFlowPortSet> const &portSet, char const *intf) {
        portSet->intfIs(Nexo::IntfId(intf));
        portSet->dmacIs(Nexo::EthAddr::parse("00:00:00:00:00:0a"));
    }
    [[nodiscard]] std::string of(char const *command) const {
        UmoAgent::AnswerFile const answer;
        umoNatFlowMcastSmCliCallbackFactory("showNatFlowActionHw", "", tree)
            ->handleCommand(answer.socket(), command);
        return answer.read(0, 100'000);
    }
    /// The rows alone, of each `width` characters from `from` on, without the blanks at the end.
    [[nodiscard]] std::vector<std::string> rows(char const *command, std::size_t from = 0,
                                                std::size_t width = std::string::npos) const {
        std::istringstream lines(of(command));
        std::vector<std::string> found;
        for (std::string line; std::getline(lines, line);) {
            if (line[0] != '-' && line.substr(0, 7) != "Policy ") {
                std::string const cell = line.substr(from, width);
                found.push_back(cell.substr(0, cell.find_last_not_of(' ') + 1));
            }
        }
        return found;
    }
};

} // namespace

TEST(Show, PrintsTheHeaderForPortSetsAloneAndNothingForNone) {
    Show show;
    auto const a = show.action("p", "m", "a");
    for (char const *const command : {"showNatFlowActionHw", "showNatFlowActionHw p"}) {
        EXPECT_EQ(show.of(command), kHeader);
    }
    a->vlanPortSetsIs(nullptr);
    EXPECT_EQ(show.of("showNatFlowActionHw"), "");
}

TEST(Show, IsCalledAndHelpsAsItIsToldAndReadsNothingBehindACommand) {
    auto const callback = umoNatFlowMcastSmCliCallbackFactory("name", "help", nullptr);
    TestSupport::TraceRecorder traces("UmoNatFlowMcastSmCli/8");
    callback->handleCommand(1, "showNatFlowActionHw");
    EXPECT_THAT(traces.messages.back(), testing::EndsWith("/8 Callback not initialized yet"));
    EXPECT_EQ(callback->nameString() + " " + callback->help(), "name help");
    std::uint32_t position = 100;
    EXPECT_EQ(callback->nextFieldS("short", position), "");
}

TEST(Show, SortsByNamesAndFiltersByTheExactPolicy) {
    Show show;
    for (auto const &[policy, match, name] :
         {std::tuple{"b", "m", "z"}, {"b", "m", "y"}, {"b", "k", "x"}, {"a", "m", "w"}}) {
        Show::port(show.action(policy, match, name)->vlanPortSets()->ucastPortSetIs(1),
                   "Ethernet1");
    }
    auto const match = show.tree->natFlow("a")->match("m");
    match->flowIs({{{}, 33, 0}, {}}); // longer than an address
    match->action("w")->srcNatIs(Nexo::IpAndPort::parse("200.1.2.3"));
    EXPECT_THAT(show.rows("showNatFlowActionHw a", 57, 14), ElementsAre("200.1.2.3"));
    for (auto const &[command, actions] :
         {std::pair<char const *, std::vector<std::string>>{"showNatFlowActionHw",
                                                            {"w", "x", "y", "z"}},
          {"showNatFlowActionHw b", {"x", "y", "z"}},
          {"showNatFlowActionHw   a  b", {"w"}},
          {"please showNatFlowActionHw", {}},  // the second field is the policy,
          {"ab showNatFlowActionHw a", {"w"}}, // counted from the third character on
          {"showNatFlowActionHw\ta", {"w", "x", "y", "z"}},
          {"showNatFlowActionHw a\tb", {}},
          {"showNatFlowActionHw B", {}},
          {"showNatFlowActionHw  ", {"w", "x", "y", "z"}},
          {"showNatFlowAction", {}},
          {"", {}}}) {
        EXPECT_EQ(show.rows(command, 38, 18), actions) << command;
    }
}

TEST(CliSorter, KeepsNamesOnceAndInOrder) {
    NatFlowMcastCliSorter sorter;
    for (char const *name : {"b", "a", "ab", "b"}) {
        sorter.entryIdIs(name, sorter[name] != nullptr);
    }
    std::ostringstream names;
    for (auto const &[name, entry] : sorter) {
        names << name << (entry->value() ? "+ " : " ");
    }
    names << sorter.findOrNext("aa")->first << ' ' << sorter;
    EXPECT_EQ(names.str(), "a ab b+ ab None");
    EXPECT_FALSE(sorter.isEq({}));
    NatFlowMcastCliSorter const copy(sorter); // with entries of its own
    NatFlowMcastCliSorter assigned;
    assigned = sorter;
    sorter["b"]->valueIs(false);
    EXPECT_TRUE(copy["b"]->value() && assigned["b"]->value());
    EXPECT_TRUE(copy.isEq(assigned) && !copy.isEq(sorter));
    sorter.entryIdDel("ab");
    sorter.entryIdDel(sorter.begin());
    EXPECT_EQ(sorter.findOrNext("")->first, "b");
    sorter.entryIdDelAll();
    EXPECT_TRUE(sorter.isEq({}));
    EXPECT_DEATH(NatFlowMcastCliSorter("text"), "\"No String constructor for NatFlowMcastCliSorter "
                                                "- has collection\" == nullptr");
}
