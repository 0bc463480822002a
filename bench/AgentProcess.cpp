#include "AgentProcess.h"

#include "agent/base/Descriptor.h"
#include "agent/console/CommandSocket.h"

#include <sys/socket.h>
#include <sys/wait.h>

#include <csignal>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <unistd.h>

namespace Bench {

namespace {

[[noreturn]] void fail(std::string const &what) {
    std::cerr << "benchmark: " << what << '\n';
    std::abort();
}

} // namespace

AgentProcess::AgentProcess(std::string const &scenario) {
    std::string pattern = std::filesystem::temp_directory_path() / "umo-bench-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) {
        fail("no folder");
    }
    folder_ = pattern;
    std::string const file = this->file("scenario.yaml", scenario);
    std::string const socket = folder_ + "/socket";
    process_ = fork();
    if (process_ == 0) {
        int const nowhere = open("/dev/null", O_RDWR);
        dup2(nowhere, STDOUT_FILENO);
        execl(UMO_AGENT, UMO_AGENT, "--socket", socket.c_str(), file.c_str(), nullptr);
        _exit(127);
    }
}

AgentProcess::~AgentProcess() {
    if (process_ > 0) {
        kill(process_, SIGKILL);
        waitpid(process_, nullptr, 0);
    }
    std::filesystem::remove_all(folder_);
}

std::string AgentProcess::file(std::string const &name, std::string const &text) const {
    std::string const path = folder_ + "/" + name;
    if (!(std::ofstream(path) << text).flush()) {
        fail("cannot write " + path);
    }
    return path;
}

void AgentProcess::awaitEndOfScenario() const {
    constexpr int kTries = 6000;
    for (int tries = 0; tries < kTries; ++tries) {
        try {
            if (ask("apply").find("is still being played") == std::string::npos) {
                return;
            }
        } catch (UmoAgent::SocketError const &) {
            if (waitpid(process_, nullptr, WNOHANG) != 0) {
                fail("the agent has ended");
            }
        }
        usleep(10'000);
    }
    fail("the agent does not come up");
}

std::string AgentProcess::ask(std::string const &command) const {
    UmoAgent::Descriptor const socket = UmoAgent::connectTo(folder_ + "/socket");
    UmoAgent::writeAll(socket.number(), command + "\n");
    std::string answer;
    char bytes[4096];
    for (ssize_t got = 0; (got = recv(socket.number(), bytes, sizeof bytes, 0)) > 0;) {
        answer.append(bytes, static_cast<std::size_t>(got));
    }
    return answer;
}

std::vector<pid_t> AgentProcess::processes() const {
    std::string const name = std::to_string(process_);
    std::ifstream children("/proc/" + name + "/task/" + name + "/children");
    std::vector<pid_t> processes{process_};
    for (pid_t child = 0; children >> child;) {
        processes.push_back(child);
    }
    return processes;
}

double AgentProcess::seconds() const {
    double seconds = 0;
    for (pid_t const process : processes()) {
        clockid_t clock{};
        timespec time{};
        if (clock_getcpuclockid(process, &clock) != 0 || clock_gettime(clock, &time) != 0) {
            fail("no processor time");
        }
        seconds += static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
    }
    return seconds;
}

double AgentProcess::mostResident() const {
    std::ifstream status("/proc/" + std::to_string(process_) + "/status");
    for (std::string word; status >> word;) {
        if (word == "VmHWM:") {
            double kibibytes = 0;
            status >> kibibytes;
            return kibibytes * 1024;
        }
    }
    fail("nothing is known of the agent's memory");
}

} // namespace Bench
