#pragma once

#include <gmock/gmock.h>

#include <csignal>
#include <cstdio>
#include <fstream>
#include <string>
#include <utility>

#include <sys/wait.h>
#include <unistd.h>

/// Running the programs themselves: an agent with a socket of this test's own, and its clients.
namespace Session {

/// A running program; its standard output and standard error come through a pipe.
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

    /// Whether it is still running. Its output until then must fit in the pipe.
    [[nodiscard]] bool runs() const { return state() != 'Z'; }

    /// Reads the output up to `text` or its end.
    std::string const &readUntil(std::string const &text) {
        for (int c = 0; !printed_.ends_with(text) && (c = std::fgetc(output_)) != EOF;) {
            printed_ += static_cast<char>(c);
        }
        return printed_;
    }
    /// Waits for the end of the program. Returns all of its output, followed by its exit status.
    std::string end() {
        readUntil("\x04");
        int const status = pclose(std::exchange(output_, nullptr));
        return printed_ + "=> " +
               (WIFSIGNALED(status) ? "signal " + std::to_string(WTERMSIG(status))
                                    : std::to_string(WEXITSTATUS(status)));
    }

  private:
    [[nodiscard]] char state() const {
        std::ifstream stat("/proc/" + std::to_string(pid_) + "/stat");
        std::string field;
        stat >> field >> field >> field;
        return field.empty() ? '\0' : field[0];
    }

    std::FILE *output_;
    pid_t pid_ = 0;
    std::string printed_;
};

inline std::string const socketPath =
    testing::TempDir() + "umo-session-" + std::to_string(getpid());
inline std::string const withSocket = " --socket " + socketPath + " ";
inline std::string const agentCommand = "'" UMO_AGENT "'" + withSocket;
inline std::string const clientCommand = "'" UMO_CLI "'" + withSocket;

inline std::string client(std::string const &command) {
    return Process(clientCommand + command).end();
}

/// A file beside the socket, removed by the destructor.
class File {
  public:
    File(char const *suffix, std::string const &text) : path_(socketPath + suffix) {
        std::ofstream(path_) << text;
    }
    ~File() { std::remove(path_.c_str()); }
    File(File const &) = delete;
    File &operator=(File const &) = delete;

    [[nodiscard]] std::string const &path() const { return path_; }

  private:
    std::string path_;
};

/// A scenario with `text` as its policies and events.
struct ScenarioFile : File {
    explicit ScenarioFile(std::string const &text)
        : File(".yaml", "interfaces: {Et1: {mode: trunk}}\nvlans: {1: [Et1], 2: [Et1]}\n"
                        "topologies: {t: {vlans: [1, 2], ports: {Et1: forwarding}}}\n"
                        "ip-interfaces: {Vlan1: {address: 10.0.1.1/24},"
                        " Vlan2: {address: 10.0.2.1/24}}\n"
                        "l3-interfaces: {Vlan1: 1, Vlan2: 2}\n" +
                            text) {}
};

/// A file to apply, and the client command that applies it.
struct Changes : File {
    explicit Changes(std::string const &text) : File(".changes.yaml", text) {}
    [[nodiscard]] std::string command() const {
        return clientCommand + "--timeout 60 apply " + path();
    }
};

} // namespace Session
