#include "UmoNat/NatFlowMcastCliSorter.h"
#include "UmoNat/UmoNatFlowMcastSmCli.h"
#include "tests/support/NatSwitch.h"

#include <cstdio>

using namespace TestSupport;

namespace {

constexpr char kCommand[] = "showNatFlowActionHw";
std::string const kHeader = std::string(149, '-') +
                            "\nPolicy             Match              Action             Source   "
                            "      Destination     SPort DPort FT PT PSet1 PSet2 Vlan Intf     Mac "
                            "             \n" +
                            std::string(149, '-') + "\n";

/// A status tree, and what the command prints of it.
struct Show {
    Mox::Ptr<Ip::Nat::HwNatFlowStatus> tree = Mox::make<Ip::Nat::HwNatFlowStatus>();

    /// An action with a port set on `vlan`, if that is not 0.
    [[nodiscard]] Mox::Ptr<Ip::Nat::HwNatFlowActionStatus>
    action(char const *policy, char const *match, char const *name, std::uint16_t vlan,
           char const *intf = "Ethernet1") const {
        auto const hwAction = tree->natFlowIs(policy)->matchIs(match)->actionIs(name);
        hwAction->vlanPortSetsIs(Ip::Nat::natFlowVlanPortSetsFactory());
        if (vlan != 0) {
            hwAction->vlanPortSets()->ucastPortSetIs(vlan)->intfIs(IntfId(intf));
        }
        return hwAction;
    }
    [[nodiscard]] std::string of(char const *command) const {
        std::FILE *file = std::tmpfile();
        umoNatFlowMcastSmCliCallbackFactory(kCommand, "", tree)
            ->handleCommand(static_cast<std::uint32_t>(fileno(file)), command);
        std::string text(10000, '\0');
        std::rewind(file);
        text.resize(std::fread(text.data(), 1, text.size(), file));
        std::fclose(file);
        return text;
    }
};

} // namespace

TEST(Show, PrintsRowsToTheByteWithAddressesCutToTheFlowsPrefixes) {
    Show show;
    auto const a = show.action("p", "m", "a", 10, "Port-Channel5");
    a->srcNatIs(addressOf("10.9.9.9:5000"));
    a->dstNatIs(addressOf("239.2.2.3:6000"));
    a->flowTypeIs(Ip::Nat::natFlowTypeNone);
    show.tree->natFlow("p")->match("m")->flowIs({{{}, 1, 0}, {{}, 31, 0}});
    auto const ucast = a->vlanPortSets()->ucastPortSet(10);
    ucast->intfIs(IntfId());
    ucast->dmacIs(macOf(kMac));
    ucast->portSetIdIs(1);
    ucast->portSetId2Is(2);
    a->vlanPortSets()->mcastPortSetIs(20)->intfIs(et1);
    auto const u =
        show.action("%s%n-a-name-wider-than-its-column", "m", "u", 4094, "Ethernet10/11/12");
    u->flowTypeIs(Ip::Nat::natFlowTypeUnicast);
    u->srcNatIs(a->dstNat());
    show.tree->natFlow("%s%n-a-name-wider-than-its-column")
        ->match("m")
        ->flowIs({{{}, 16, 0}, {{}, 32, 0}});
    auto const mc = show.action("q", "m", "mc", 1, "Vlan10");
    mc->flowTypeIs(Ip::Nat::natFlowTypeMulticast);
    mc->srcNatIs(a->dstNat());
    mc->dstNatIs(a->dstNat());
    show.tree->natFlow("q")->match("m")->flowIs({{{}, 33, 0}, {{}, 32, 0}});
    std::string const row = "p                  m                  a                  -            "
                            "  239.2.2.2       5000  6000  AC ";
    EXPECT_EQ(
        show.of(kCommand),
        kHeader +
            "%s%n-a-name-wider-than-its-column m                  u                  "
            "239.2.0.0      -               6000  0     UC UC 0     0     4094 Et10/11/12 "
            "00:00:00:00:00:00\n" +
            row + "UC 1     2     10   Po5      00:00:00:00:00:01\n" + row +
            "UC 1     2     10            00:00:00:00:00:01\n" + row +
            "MC 0     0     20   Et1      00:00:00:00:00:00\n" +
            "q                  m                  mc                 239.2.2.3      "
            "239.2.2.3       6000  6000  MC UC 0     0     1    Vl10     00:00:00:00:00:00\n");
}

TEST(Show, SortsByNamesAndFiltersByTheExactPolicy) {
    Show show;
    EXPECT_EQ(show.of(kCommand), "");
    auto const z = show.action("b", "m", "Z", 0);
    EXPECT_EQ(show.of(kCommand), kHeader); // for port sets alone
    z->vlanPortSetsIs(nullptr);
    EXPECT_EQ(show.of(kCommand), "");
    for (auto const &[policy, match, name] :
         {std::tuple{"b", "m", "Z"}, {"b", "m", "Y"}, {"b", "k", "X"}, {"a", "m", "W"}}) {
        (void)show.action(policy, match, name, 1);
    }
    for (auto const &[command, actions] :
         {std::pair{"showNatFlowActionHw", "WXYZ"},
          {"showNatFlowActionHw b", "XYZ"},
          {"showNatFlowActionHw   a  b", "W"},
          {"please showNatFlowActionHw", ""}, // the second field is the policy,
          {"ab showNatFlowActionHw a", "W"},  // counted from the third character on
          {"showNatFlowActionHw\ta", "WXYZ"},
          {"showNatFlowActionHw  ", "WXYZ"},
          {"showNatFlowAction", ""}}) {
        std::string text = show.of(command);
        std::erase_if(text, [](char c) { return c < 'W' || c > 'Z'; }); // no column has these
        EXPECT_EQ(text, actions) << command;
    }
}

TEST(Show, TracesHowItReadsTheCommand) {
    Show show;
    TraceRecorder traces("UmoNatFlowMcastSmCli/8");
    EXPECT_EQ(show.of("showNatFlowActionHw p"), "");
    show.tree = nullptr;
    EXPECT_EQ(show.of("x"), "");
    EXPECT_EQ(storyOf(traces.messages),
              "UmoNatFlowMcastSmCliCallback::handleCommand, cmd: showNatFlowActionHw p|"
              "Command: showNatFlowActionHw p, start: 1, end: 19, field: owNatFlowActionHw|"
              "Command: showNatFlowActionHw p, start: 19, end: 21, field: p|"
              "UmoNatFlowMcastSmCliCallback::showMcastNatFlowActionHw p|"
              "UmoNatFlowMcastSmCliCallback::handleCommand, cmd: x|Callback not initialized yet|");
    std::uint32_t position = 100;
    auto const callback = umoNatFlowMcastSmCliCallbackFactory("name", "help", nullptr);
    EXPECT_EQ(callback->nextFieldS("short", position), "");
    EXPECT_EQ(callback->nameString() + " " + callback->help(), "name help");
}

TEST(CliSorter, IsOpenToOthersThanTheCommandToo) {
    NatFlowMcastCliSorter sorter, other;
    sorter.entryIdIs("b", false);
    sorter.entryIdIs("b", sorter["a"] == nullptr);
    EXPECT_TRUE(sorter.findOrNext("a")->second->value() && !sorter.isEq(other));
    sorter.entryIdDel("b");
    EXPECT_TRUE(sorter.isEq(other));
    EXPECT_EQ(sorter.stringValue(), "None");
    EXPECT_DEATH(NatFlowMcastCliSorter("text"), "\"No String constructor for NatFlowMcastCliSorter "
                                                "- has collection\" == nullptr");
}
