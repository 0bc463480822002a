#include "agent/console/CommandSocket.h"

#include <gmock/gmock.h>
#include <poll.h>
#include <sys/socket.h>

#include <csignal>
#include <cstdio>

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

TEST(Session, ExitStatusesTellWhatWasDoneAndOneAgentAnswersAtASocket) {
    Process agent(agentCommand + "examples/live-switch.yaml");
    agent.readUntil("end of the scenario, the switch goes on\n");
    EXPECT_EQ(Process(agentCommand + "examples/live-switch.yaml").end(),
              "umo-agent: socket " + socketPath + ": another agent is answering there\n=> 2");
    EXPECT_EQ(client("showNatFlowActionHw nobody"), "=> 0");
    EXPECT_THAT(client("nonsense"), EndsWith("=> 1"));
    agent.signal(SIGHUP);
    EXPECT_THAT(agent.end(), ContainsRegex("SIGHUP, NAT is shut down\nchip: 0 of [^\n]*\n=> 0$"));
    EXPECT_EQ(client("help"),
              "umo-cli: socket " + socketPath + ": no agent is answering there\n=> 2");
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
