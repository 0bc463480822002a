#include "agent/console/CommandSocket.h"

#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/wait.h>

#include <csignal>
#include <filesystem>
#include <fstream>

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
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

    /// Reads the output up to `text`, or to its end.
    std::string const &readUntil(std::string const &text) {
        char byte = 0;
        while (printed_.find(text) == std::string::npos && read(output_.number(), &byte, 1) == 1) {
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
        std::ofstream(folder / "on.yaml") << R"(
interfaces: {Et1: {native-vlan: 10}}
vlans: {10: [Et1]}
topologies: {t: {vlans: [10], ports: {Et1: forwarding}}}
ip-interfaces: {Vlan10: {address: 10.0.10.1/24}}
l3-interfaces: {Vlan10: 10}
policies: {feed: {matches: {m: {flow: {destination: 239.1.1.1}, actions: {
  a: {egress: {Et1: {vlan: 10}}}}}}}}
)";
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
    agent.readUntil("commands are answered at " + socket + "\n");
    EXPECT_EQ(Process(start).end(),
              "umo-agent: socket " + socket + ": another agent is answering there\n=> 2\n");

    std::ofstream(folder / "off.yaml") << "events: [{remove: {policies: [feed]}}]";
    EXPECT_THAT(client({"showNatFlowActionHw"}), HasSubstr("\nfeed "));
    EXPECT_EQ(client({"apply", std::filesystem::relative(folder / "off.yaml")}),
              "applied 1 event\n=> 0\n");
    EXPECT_THAT(client({"showNatFlowActionHw"}), Not(HasSubstr("\nfeed ")));
    EXPECT_THAT(client({"nonsense"}), EndsWith("=> 1\n"));

    // One client is killed while it waits for its answer, another goes half-way through one.
    agent.signal(SIGSTOP);
    Process waiting({UMO_CLI, "--socket", socket, "showSkimtrace"});
    Descriptor half = UmoAgent::connectTo(socket);
    ASSERT_EQ(send(half.number(), "showCounters\n", 13, 0), 13);
    waiting.signal(SIGKILL);
    EXPECT_EQ(waiting.end(), "=> killed\n");
    agent.signal(SIGCONT);
    char bytes[16];
    EXPECT_GT(recv(half.number(), bytes, sizeof bytes, 0), 0);
    half = Descriptor();
    EXPECT_THAT(client({"showChip"}), HasSubstr(" 0 contract errors\n"));

    agent.signal(SIGTERM);
    EXPECT_THAT(agent.end(), testing::ContainsRegex("SIGTERM, NAT is shut down\nchip: 0 of [0-9]+ "
                                                    "groups in use, [^\n]*\n=> 0\n$"));
    EXPECT_EQ(client({"help"}),
              "umo-cli: socket " + socket + ": no agent is answering there\n=> 2\n");
}
