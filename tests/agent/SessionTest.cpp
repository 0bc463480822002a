#include "agent/console/CommandSocket.h"

#include <gmock/gmock.h>
#include <sys/wait.h>

#include <csignal>
#include <filesystem>
#include <fstream>

using testing::EndsWith;
using testing::HasSubstr;
using UmoAgent::Descriptor;

namespace {

/// A child process; what it prints, on both outputs, comes through a pipe.
class Process {
  public:
    explicit Process(std::vector<std::string> words) {
        int ends[2];
        EXPECT_EQ(pipe(ends), 0);
        Descriptor const output(ends[1]);
        output_ = Descriptor(ends[0]);
        std::vector<char *> arguments;
        for (std::string &word : words) {
            arguments.push_back(word.data());
        }
        arguments.push_back(nullptr);
        pid_ = fork();
        if (pid_ == 0) {
            dup2(output.number(), STDOUT_FILENO);
            dup2(output.number(), STDERR_FILENO);
            execv(arguments[0], arguments.data());
            _exit(127);
        }
    }
    ~Process() {
        if (pid_ > 0) {
            signal(SIGKILL);
            waitpid(pid_, nullptr, 0);
        }
    }
    Process(Process const &) = delete;
    Process &operator=(Process const &) = delete;

    void signal(int number) const { kill(pid_, number); }

    /// Whether it sleeps with a socket open, as a client does that has asked and waits.
    [[nodiscard]] bool waits() const {
        std::string const proc = "/proc/" + std::to_string(pid_);
        std::error_code none;
        for (auto const &entry : std::filesystem::directory_iterator(proc + "/fd", none)) {
            if (std::filesystem::read_symlink(entry, none).string().rfind("socket:", 0) == 0) {
                std::ifstream stat(proc + "/stat"); // read now: it may have slept before it asked
                std::string field;
                stat >> field >> field >> field;
                return field == "S";
            }
        }
        return false;
    }

    /// Reads the output up to `text`, or to its end.
    std::string const &readUntil(std::string const &text) {
        char byte = 0;
        while (!printed_.ends_with(text) && read(output_.number(), &byte, 1) == 1) {
            printed_ += byte;
        }
        return printed_;
    }
    /// All of the output, when the process has ended; with its exit status at the end.
    std::string end() {
        std::string const all = readUntil("\x04");
        int status = 0;
        waitpid(std::exchange(pid_, -1), &status, 0);
        return all + "=> " + (WIFEXITED(status) ? std::to_string(WEXITSTATUS(status)) : "killed") +
               "\n";
    }

  private:
    pid_t pid_ = -1;
    Descriptor output_;
    std::string printed_;
};

struct Session : testing::Test {
    Session() {
        std::filesystem::create_directory(folder);
        std::ofstream on(folder / "on.yaml");
        on << "interfaces: {Et1: {native-vlan: 10}}\nvlans: {10: [Et1]}\n"
              "topologies: {t: {vlans: [10], ports: {Et1: forwarding}}}\n"
              "ip-interfaces: {Vlan10: {address: 10.0.10.1/24}}\nl3-interfaces: {Vlan10: 10}\n"
              "events: [{at: 60s}]\n"
              "policies: {feed: {matches: {";
        for (int i = 0; i < 2000; ++i) { // a table of more than the system keeps for a client
            on << (i == 0         ? "m0: {actions: {"
                   : i % 100 == 0 ? "}}, m" + std::to_string(i) + ": {actions: {"
                                  : ", ")
               << "a" << i << ": {destination: 239.1.1.1, egress: {Et1: {vlan: 10}}}";
        }
        on << "}}}}}\n";
    }
    ~Session() override { std::filesystem::remove_all(folder); }

    std::string client(std::vector<std::string> const &command) const {
        std::vector<std::string> words{UMO_CLI, "--socket", socket};
        words.insert(words.end(), command.begin(), command.end());
        return Process(words).end();
    }

    std::filesystem::path folder =
        std::filesystem::temp_directory_path() / ("umo-session-" + std::to_string(getpid()));
    std::string socket = folder / "socket";
    std::vector<std::string> start{UMO_AGENT, "--socket", socket, folder / "on.yaml"};
};

} // namespace

TEST_F(Session, AnswersAppliesOutlivesItsClientsAndEndsBySignalWithAnEmptyChip) {
    Process agent(start);
    agent.readUntil("end of the scenario, the switch goes on\n");
    EXPECT_EQ(Process(start).end(),
              "umo-agent: socket " + socket + ": another agent is answering there\n=> 2\n");

    // A client is killed in the middle of its answer: it has asked, and does not read.
    agent.signal(SIGSTOP);
    Process half({UMO_CLI, "--socket", socket, "showNatFlowActionHw"});
    while (!half.waits()) {
        usleep(1000);
    }
    half.signal(SIGSTOP);
    agent.signal(SIGCONT);
    EXPECT_THAT(client({"showChip"}), HasSubstr("\nport sets                   2000 "));
    half.signal(SIGKILL);
    EXPECT_EQ(half.end(), "=> killed\n");

    EXPECT_THAT(client({"showNatFlowActionHw"}), HasSubstr("\nfeed "));
    std::ofstream(folder / "off.yaml") << "events: [{remove: {policies: [feed]}}]";
    EXPECT_EQ(client({"apply", std::filesystem::relative(folder / "off.yaml")}),
              "applied 1 event\n=> 0\n");
    EXPECT_EQ(client({"showNatFlowActionHw"}), "=> 0\n");
    EXPECT_THAT(client({"nonsense"}), EndsWith("=> 1\n"));

    agent.signal(SIGTERM);
    EXPECT_THAT(agent.end(), testing::ContainsRegex("SIGTERM, NAT is shut down\nchip: 0 of [0-9]+ "
                                                    "groups in use, [^\n]*\n=> 0\n$"));
    EXPECT_EQ(client({"help"}),
              "umo-cli: socket " + socket + ": no agent is answering there\n=> 2\n");
}

TEST_F(Session, InRealTimeASignalEndsTheScenarioAndAnAgentsDeathIsNoAnswer) {
    start.emplace_back("--real-time");
    Process agent(start);
    agent.readUntil("commands are answered at " + socket + "\n");
    EXPECT_THAT(client({"apply", folder / "on.yaml"}), HasSubstr("still being played"));
    agent.signal(SIGINT);
    agent.readUntil("SIGINT, NAT is shut down\n");
    agent.signal(SIGTERM); // must do no harm, however late it comes
    EXPECT_THAT(agent.end(),
                testing::ContainsRegex("SIGINT, NAT is shut down\n[^\n]*\n=> 0"));

    Process dying(start);
    dying.readUntil("commands are answered");
    dying.signal(SIGSTOP);
    Process asking({UMO_CLI, "--socket", socket, "showNatFlowGroup"});
    while (!asking.waits()) {
        usleep(1000);
    }
    dying.signal(SIGKILL);
    EXPECT_THAT(asking.end(), testing::AllOf(HasSubstr("the agent broke off"), EndsWith("=> 2\n")));
}
