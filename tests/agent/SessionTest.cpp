#include "tests/agent/Session.h"

#include "agent/cli/Question.h"
#include "agent/console/CommandSocket.h"

#include <gmock/gmock.h>
#include <poll.h>
#include <sys/socket.h>

#include <csignal>
#include <cstdio>
#include <filesystem>

using testing::ContainsRegex;
using testing::EndsWith;
using testing::HasSubstr;
using namespace Session;

namespace {

/// A policy with so many actions that their table or tree does not fit in the system's buffers.
std::string manyActions() {
    std::string text = "policies: {feed: {matches: {m: {actions: {";
    for (int i = 0; i < 2000; ++i) {
        text += "a" + std::to_string(i) + ": {destination: 239.1.1.1, egress: [Vlan1]}, ";
    }
    return text + "}}}}}\n";
}

/// Events that set `macs` learned MACs in each of `vlans` VLANs, written with aliases.
std::string manyMacs(int vlans, int macs) {
    std::string text = "events: [{set: {learned-macs: {1: &m {";
    for (int i = 0; i < macs; ++i) {
        char mac[48];
        std::snprintf(mac, sizeof mac, "02:00:%02x:%02x:%02x:01: Et1, ", i >> 16, i >> 8 & 255,
                      i & 255);
        text += mac;
    }
    text += "}";
    for (int vlan = 2; vlan <= vlans; ++vlan) {
        text += ", " + std::to_string(vlan) + ": *m";
    }
    return text + "}}}]";
}

} // namespace

TEST(Session, AppliesChangesOutlivesItsClientsAndEndsBySignalWithAnEmptyChip) {
    File const none(".off.yaml", "events: [{remove: {policies: [feed]}}]");
    ScenarioFile const file(manyActions());
    std::string const &many = file.path();

    Process agent(agentCommand + many);
    agent.readUntil("end of the scenario, the switch goes on\n");
    EXPECT_EQ(Process(agentCommand + many).end(),
              "umo-agent: socket " + socketPath + ": another agent is answering there\n=> 2");

    {
        auto const half = UmoAgent::connectTo(socketPath); // goes in the middle of its answer
        UmoAgent::writeAll(half.number(), "showNatFlowActionHw\n");
        EXPECT_THAT(client("showNatFlowActionHw"), HasSubstr("\nfeed "));
        EXPECT_EQ(recv(half.number(), std::string(100, ' ').data(), 100, MSG_WAITALL), 100);
    }
    EXPECT_EQ(client("apply " + none.path()), "applied 1 event\n=> 0");
    EXPECT_EQ(client("showNatFlowActionHw"), "=> 0");
    EXPECT_THAT(client("nonsense"), EndsWith("=> 1"));
    std::string const program = "'" UMO_CLI "' ";
    EXPECT_EQ(Process(program + "showRecircVlan --timeout=5" + withSocket).end(),
              "recirculation VLAN: 1, L3 interface Vlan1\n=> 0");
    EXPECT_EQ(client("showChip -- --help"),
              "% showChip: found \"--help\", expected no arguments\n=> 1");
    EXPECT_THAT(client("showChip --all"), HasSubstr("not expected: --all"));
    agent.signal(SIGTERM);
    EXPECT_THAT(agent.end(), ContainsRegex("SIGTERM, NAT is shut down\nchip: 0 of [^\n]*\n=> 0$"));
    std::string const nobody = "umo-cli: socket " + socketPath + ": no agent is answering there\n";
    EXPECT_EQ(client("showChip"), nobody + "=> 2");
    EXPECT_THAT(client("help"),
                ContainsRegex("^commands:\n  apply  (.*\n)*  trace  .*\n" + nobody + "=> 0$"));
}

TEST(Session, InRealTimeASignalEndsTheScenarioAndASecondOneIsNoNews) {
    Process agent(agentCommand + "--real-time examples/group-exhaustion.yaml");
    agent.readUntil("commands are answered at " + socketPath + "\n");
    EXPECT_THAT(client("apply examples/changes/port-failure.yaml"),
                HasSubstr("still being played"));
    agent.signal(SIGINT);
    agent.readUntil("SIGINT, NAT is shut down\n");
    agent.signal(SIGTERM); // must do no harm, at any time
    EXPECT_THAT(agent.end(), ContainsRegex("SIGINT, NAT is shut down\n[^\n]*\n=> 0$"));
}

TEST(Session, OutputThatNobodyReadsStopsNeitherTheSwitchNorItsEnd) {
    ScenarioFile const file(manyActions() +
                            "events: [{at: 0, print: [tree, tree, tree, tree, tree, tree]}]");
    Process agent(agentCommand + "--real-time " + file.path());
    agent.readUntil("commands are answered at " + socketPath + "\n");
    EXPECT_THAT(client("showNatFlowGroup --timeout 60"), HasSubstr(" programmed\n=> 0"));
    agent.signal(SIGTERM);
    EXPECT_THAT(agent.end(),
                testing::AllOf(
                    ContainsRegex("\n\\([0-9]+ lines dropped\\)\n"),
                    EndsWith("umo-agent: standard output: nobody read all of it in time\n=> 1")));
}

TEST(Session, InVirtualTimeASignalEndsAScenarioThatWaitsForItsReaderBeforeWhatComesNext) {
    ScenarioFile const file(manyActions() + "events: [{at: 1s, note: first, print: [tree, table]},"
                                            " {at: 2s, note: second}]");
    std::string const feed = socketPath + ".pcap";
    EXPECT_EQ(Process("'" UMO_FEED "' " + feed).end(), "=> 0");
    Process agent("'" UMO_AGENT "' --pcap-in Et1=" + feed + " --pcap-at 1500ms " + file.path());
    agent.readUntil(" first\n"); // the pipe has no room for what follows
    agent.signal(SIGTERM);
    agent.signal(SIGHUP);
    std::string const said = agent.end();
    EXPECT_THAT(said, ContainsRegex("\n\\[    1.500 s\\] SIG[TERMHUP]+, NAT is shut down\n"
                                    "chip: 0 of 1024 groups in use, [^\n]*\n=> 0$"));
    EXPECT_THAT(said, testing::Not(ContainsRegex("second|dropped")));
    EXPECT_THAT(said, HasSubstr("\nfeed               m                  a1999 "));
    std::remove(feed.c_str());
}

TEST(Session, AFullGroupIsToldBeforeTheLibraryStopsTheProcess) {
    ScenarioFile const file("chip: {port-sets-per-group: 1}\n"
                            "policies: {\"a\\nb\": {matches: {\"\\e[2J\": {actions: {\n"
                            "  c: {destination: 239.1.1.1, egress: [Vlan1, Vlan2]}}}}}}\n");
    EXPECT_THAT(
        Process("'" UMO_AGENT "' --show-calls --trace UmoNatFlowActionSm/1 " + file.path()).end(),
        ContainsRegex("unicast false\\) -> 1\n"
                      "UmoNatFlowActionSm/1 .*: a.x0ab, match: .x1b.2J, action: c\n"
                      ".* -> 1\n"
                      ". +0.000 s. chip: group 1 of policy a.x0ab, match .x1b.2J has no room "
                      "for a port set: 1 of 1 in use\n"
                      ".* -> 0\n(.*\n)*.*psId.*\n=> signal 6$"));
}

TEST(Session, AScenarioIsReadFromWhatHasAnEndAndMayOnlyBeChecked) {
    std::string const program = "'" UMO_AGENT "' ", example = "examples/group-exhaustion.yaml";
    std::string const played = Process(program + example).end();
    std::pair<std::string, std::string> const cases[] = {
        {"- <" + example, played},
        {"--check " + example, "=> 0"},
        {"--check - </proc/version", "standard input:1:1: found .*\n=> 2"},
        {"/dev/zero", "/dev/zero: cannot be read: it is a device\n=> 2"},
        {"- </dev/zero", "standard input: cannot be read: it is a device\n=> 2"},
        {"tests", "tests: cannot be read: it is a directory\n=> 2"},
        {"/proc/self/mem", "/proc/self/mem: cannot be read: Input/output error\n=> 2"},
        {"'\x1b[2J'", "\\\\x1b\\[2J: cannot be read: No such file or directory\n=> 2"},
        {"--version", "umo-agent [0-9]+\\.[0-9]+\\.[0-9]+\n=> 0"},
    };
    EXPECT_THAT(played, EndsWith("\n=> 0"));
    for (auto const &[arguments, said] : cases) {
        std::string const came = Process(program + arguments).end();
        EXPECT_TRUE(came == said || testing::Value(came, testing::MatchesRegex(said))) << came;
    }
}

TEST(Session, PacketsGoThroughTheSwitchAndItTellsWhatItCannotReadOrWrite) {
    std::string const folder = socketPath + ".packets/", feed = folder + "feed.pcap";
    std::filesystem::create_directory(folder);
    auto const run = [](std::string const &command) { return Process(command).end(); };
    auto const agent = [&](std::string const &options) {
        return run("'" UMO_AGENT "' " + options + " examples/live-switch.yaml");
    };
    EXPECT_EQ(run("'" UMO_FEED "' --source 10.1.7.7:9 --destination 239.1.7.1:5000 " + feed),
              "=> 0");
    EXPECT_EQ(run("'" UMO_FEED "' --ttl 0 " + feed).substr(0, 5), "--ttl");
    std::string const good = agent("--pcap-at 1m --pcap-in Et1=" + feed + " --pcap-out " + folder);
    EXPECT_THAT(good, ContainsRegex("^\\[   64.950 s\\] what became of the packets\n(.*\n)*"
                                    "received +100 .*\n(.*\n)*copies sent +300 (.*\n)*"
                                    "Ethernet4  .* 10.0.20.7:6000 +100\n(.*\n)*=> 0$"));
    std::filesystem::resize_file(feed, 1000);
    EXPECT_THAT(agent("--pcap-in Et1=" + feed + " --pcap-in Et2=" + feed),
                ContainsRegex("feed.pcap: frame 7 cannot be read(.*\n)*received +12 (.*\n)*=> 1$"));
    std::filesystem::remove(folder + "Ethernet4.pcap");
    std::filesystem::create_symlink("/dev/full", folder + "Ethernet4.pcap");
    EXPECT_THAT(
        agent("--pcap-in Et1=" + feed + " --pcap-out " + folder),
        ContainsRegex("Ethernet4.pcap: cannot be written: No space left on device\n(.*\n)*=> 1$"));
    std::pair<char const *, char const *> const refused[] = {
        {"--pcap-in Et1", "--pcap-in: INTERFACE=FILE is expected, not Et1\n"},
        {"--pcap-in Vlan10=feed", "--pcap-in: no port receives frames as Vlan10=feed\n"},
        {"--pcap-in Et=feed", "--pcap-in: malformed interface name \"Et\""},
        {"--pcap-in Et1=no --pcap-at 1d", "--pcap-at: a time such as"},
        {"--pcap-out no", "--pcap-out requires --pcap-in"},
        {"--pcap-in Et1=no", "umo-agent: no: cannot be read: No such file or directory\n"}};
    for (auto const &[options, said] : refused) {
        EXPECT_THAT(agent(options), testing::AllOf(HasSubstr(said), EndsWith("=> 2")));
    }
    std::filesystem::remove_all(folder);
}

TEST(Session, AClientNeitherWaitsNorTakesInForEverAndTakesNoHalfOfAnAnswer) {
    UmoAgent::ListeningSocket const agent(socketPath);
    EXPECT_EQ(
        client("--timeout 1 showChip"),
        "umo-cli: the agent has not answered within 1 s, and may yet carry the command out\n=> 2");

    auto const await = [](int socket) {
        pollfd waiting{socket, POLLIN, 0};
        EXPECT_EQ(poll(&waiting, 1, -1), 1);
    };
    auto const next = [&] {
        await(agent.number());
        return UmoAgent::Descriptor(accept(agent.number(), nullptr, nullptr));
    };
    next(); // the client that gave up
    Process deserted(clientCommand + "showNatFlowGroup");
    {
        UmoAgent::Descriptor const asked = next();
        await(asked.number()); // the command has arrived, and stays unread
        UmoAgent::writeAll(asked.number(), "policy  match");
    }
    EXPECT_THAT(deserted.end(), testing::AllOf(HasSubstr("the agent broke off"),
                                               testing::Not(HasSubstr("match")), EndsWith("=> 2")));
    Process hostile(clientCommand + "showChip");
    {
        UmoAgent::Descriptor const asked = next();
        std::string bytes(sizeof "showChip\n", '\0');
        EXPECT_EQ(recv(asked.number(), bytes.data(), bytes.size(), MSG_WAITALL), bytes.size());
        UmoAgent::writeAll(asked.number(), "\x1b[2J\tno chip\n");
    }
    EXPECT_EQ(hostile.end(), "\\x1b[2J\tno chip\n=> 0");

    Process asking(clientCommand + "showChip");
    {
        UmoAgent::Descriptor const endless = next();
        std::string const much(std::size_t{1} << 20U, 'x');
        std::size_t sent = 0;
        while (sent < 2 * UmoAgent::kMaxAnswer &&
               send(endless.number(), much.data(), much.size(), MSG_NOSIGNAL) > 0) {
            sent += much.size();
        }
        EXPECT_LT(sent, 2 * UmoAgent::kMaxAnswer);
    }
    EXPECT_EQ(asking.end(), "umo-cli: the answer has more than 64 MiB\n=> 2");

    std::vector<UmoAgent::Descriptor> queue;
    EXPECT_THROW(
        for (;;) {
            queue.push_back(UmoAgent::connectTo(socketPath, std::chrono::milliseconds(10)));
        },
        UmoAgent::SocketError);
    EXPECT_THAT(client("--timeout 1 showChip"), HasSubstr("the agent accepts nobody\n=> 2"));
}

TEST(Session, WhateverIsAppliedTheSwitchAnswersMeanwhileAndIsAsItWasIfItIsTooMuch) {
    std::string bomb = "a: &a [x, x]\n", events = "events: [";
    for (char name = 'a'; name < 'z'; ++name) {
        std::string const next(1, static_cast<char>(name + 1)), alias = std::string("*") + name;
        bomb += next + ": &" + next + " [" + alias + " , " + alias + " ]\n";
    }
    for (int i = 0; i < 6400; ++i) {
        events += "{},";
    }
    std::tuple<std::string, char const *, char const *> const cases[] = {
        {bomb, "1",
         ":20:[0-9]+: found more than 4000000 values, aliases expanded, expected fewer\n"
         "% apply: nothing was applied\n=> 1$"},
        {events + "]", "1", "^applied 6400 events\n=> 0$"},
        // Here the agent itself has much to read, and answers between that and the parsing.
        {manyMacs(1, 250'001), "20",
         ": found more than 250000 changes, expected fewer\n"
         "% apply: nothing was applied\n=> 1$"},
    };
    ScenarioFile const file("policies: {p: {matches: {m: {actions: {a: {egress: [Vlan1],\n"
                            "  destination: 239.1.1.1}}}}}}\n");
    Process agent(agentCommand + file.path());
    agent.readUntil("the switch goes on\n");
    std::string const chip = client("showChip");
    for (auto const &[text, timeout, said] : cases) {
        Changes const changes(text);
        Process applying(changes.command());
        do {
            EXPECT_THAT(client(std::string("showNatFlowGroup --timeout ") + timeout),
                        EndsWith(" programmed\n=> 0"));
        } while (applying.runs());
        EXPECT_THAT(applying.end(), ContainsRegex(said));
        EXPECT_EQ(client("showChip"), chip);
    }
}

TEST(Session, AFileThatThereIsNoMemoryForStopsNeitherTheAgentNorTheNextFile) {
    std::string const little = "sh -c \"ulimit -v ";
#if defined(__has_feature)
#if __has_feature(address_sanitizer)
    GTEST_SKIP() << "the sanitizer itself needs more memory";
#endif
#endif
    ScenarioFile const file("");
    // The first file, written out, is too large for the reading process; the second, in the agent,
    // for the changes made of it. With twice the limit both have enough.
    std::pair<int, std::string> const cases[] = {{90'000, manyMacs(1, 200'000)},
                                                 {150'000, manyMacs(40, 10'000)}};
    for (auto const &[limit, text] : cases) {
        Process agent(little + std::to_string(limit) + "; exec " + agentCommand + file.path() +
                      "\"");
        agent.readUntil("the switch goes on\n");
        {
            Changes const large(text);
            EXPECT_THAT(
                Process(large.command()).end(),
                ContainsRegex("^% .*there is not enough memory\n.*nothing was applied\n=> 1$"));
        }
        Changes const small(manyMacs(2, 2));
        EXPECT_EQ(Process(small.command()).end(), "applied 1 event\n=> 0");
        agent.signal(SIGTERM);
        EXPECT_THAT(agent.end(), EndsWith("\n=> 0"));
    }
}
