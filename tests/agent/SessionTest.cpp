#include "agent/console/CommandSocket.h"

#include <gmock/gmock.h>
#include <poll.h>
#include <sys/socket.h>

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>

using testing::ContainsRegex;
using testing::EndsWith;
using testing::HasSubstr;

namespace {

/// A program that runs; what it prints, on both outputs, comes through a pipe.
class Process {
  public:
    explicit Process(std::string const &command)
        : output_(popen(("echo $$; exec " + command + " 2>&1").c_str(), "r")) {
        pid_ = std::stoi(readUntil("\n"));
        printed_.clear();
    }
    ~Process() {
        if (output_ != nullptr) {
            signal(SIGKILL);
            pclose(output_);
        }
    }
    Process(Process const &) = delete;
    Process &operator=(Process const &) = delete;

    void signal(int number) const { kill(pid_, number); }

    /// Returns when it sleeps with a socket open, as a client does that has asked and waits.
    void awaitAsked() const {
        std::string const proc = "/proc/" + std::to_string(pid_);
        bool asked = false;
        for (int wait = 0; !asked && wait < 10'000; ++wait, usleep(1000)) {
            bool connected = false;
            std::error_code none;
            for (auto const &file : std::filesystem::directory_iterator(proc + "/fd", none)) {
                auto const what = std::filesystem::read_symlink(file, none).string();
                connected = connected || what.starts_with("socket:");
            }
            std::ifstream stat(proc + "/stat"); // read now: it may have slept before it asked
            std::string state;
            stat >> state >> state >> state;
            asked = connected && state == "S";
        }
        EXPECT_TRUE(asked);
    }

    /// Reads the output up to `text`, or to its end.
    std::string const &readUntil(std::string const &text) {
        for (int c = 0; !printed_.ends_with(text) && (c = std::fgetc(output_)) != EOF;) {
            printed_ += static_cast<char>(c);
        }
        return printed_;
    }
    /// All of the output, when the program has ended; with its exit status at the end.
    std::string end() {
        readUntil("\x04");
        int const status = pclose(std::exchange(output_, nullptr));
        return printed_ + "=> " + std::to_string(WEXITSTATUS(status));
    }

  private:
    std::FILE *output_;
    pid_t pid_ = 0;
    std::string printed_;
};

std::string const socketPath = testing::TempDir() + "umo-session-" + std::to_string(getpid());
std::string const withSocket = " --socket " + socketPath + " ";
std::string const agentCommand = "'" UMO_AGENT "'" + withSocket;
std::string const clientCommand = "'" UMO_CLI "'" + withSocket;

std::string client(std::string const &command) {
    return Process(clientCommand + command).end();
}

} // namespace

TEST(Session, AppliesChangesOutlivesItsClientsAndEndsBySignalWithAnEmptyChip) {
    std::string const many = socketPath + ".yaml", none = socketPath + ".off.yaml";
    std::ofstream file(many);
    file << "interfaces: {Et1: {}}\nvlans: {1: [Et1]}\ntopologies: {t: {vlans: [1], ports: {Et1: "
            "forwarding}}}\nip-interfaces: {Vlan1: {address: 10.0.1.1/24}}\n"
            "l3-interfaces: {Vlan1: 1}\npolicies: {feed: {matches: {m: {actions: {";
    for (int i = 0; i < 2000; ++i) { // a table of more than the system keeps for a client
        file << "a" << i << ": {destination: 239.1.1.1, egress: [Vlan1]}, ";
    }
    file << "}}}}}\n";
    file.close();
    std::ofstream(none) << "events: [{remove: {policies: [feed]}}]";

    Process agent(agentCommand + many);
    agent.readUntil("end of the scenario, the switch goes on\n");
    EXPECT_EQ(Process(agentCommand + many).end(),
              "umo-agent: socket " + socketPath + ": another agent is answering there\n=> 2");

    // A client is killed in the middle of its answer: it has asked, and does not read.
    agent.signal(SIGSTOP);
    Process half(clientCommand + "showNatFlowActionHw");
    half.awaitAsked();
    half.signal(SIGSTOP);
    agent.signal(SIGCONT);
    EXPECT_THAT(client("showNatFlowActionHw"), HasSubstr("\nfeed "));
    half.signal(SIGKILL);

    EXPECT_EQ(client("apply " + none), "applied 1 event\n=> 0");
    EXPECT_EQ(client("showNatFlowActionHw"), "=> 0");
    EXPECT_THAT(client("nonsense"), EndsWith("=> 1"));
    agent.signal(SIGTERM);
    EXPECT_THAT(agent.end(), ContainsRegex("SIGTERM, NAT is shut down\nchip: 0 of [^\n]*\n=> 0$"));
    EXPECT_EQ(client("help"),
              "umo-cli: socket " + socketPath + ": no agent is answering there\n=> 2");
    std::remove(many.c_str());
    std::remove(none.c_str());
}

TEST(Session, InRealTimeASignalEndsTheScenarioAndASecondOneIsNoNews) {
    Process agent(agentCommand + "--real-time examples/group-exhaustion.yaml");
    agent.readUntil("commands are answered at " + socketPath + "\n");
    EXPECT_THAT(client("apply examples/changes/port-failure.yaml"),
                HasSubstr("still being played"));
    agent.signal(SIGINT);
    agent.readUntil("SIGINT, NAT is shut down\n");
    agent.signal(SIGTERM); // must do no harm, however late it comes
    EXPECT_THAT(agent.end(), ContainsRegex("SIGINT, NAT is shut down\n[^\n]*\n=> 0$"));
}

TEST(Session, WhatAnAgentSaidBeforeItsDeathIsNoAnswer) {
    UmoAgent::ListeningSocket const agent(socketPath);
    Process asking(clientCommand + "showNatFlowGroup");
    {
        pollfd waiting{agent.number(), POLLIN, 0};
        EXPECT_EQ(poll(&waiting, 1, -1), 1);
        UmoAgent::Descriptor const asked(accept(agent.number(), nullptr, nullptr));
        waiting.fd = asked.number();
        EXPECT_EQ(poll(&waiting, 1, -1), 1); // the command has come, and stays unread
        UmoAgent::writeAll(asked.number(), "policy  match");
    }
    EXPECT_THAT(asking.end(), testing::AllOf(HasSubstr("the agent broke off"),
                                             testing::Not(HasSubstr("match")), EndsWith("=> 2")));
}
