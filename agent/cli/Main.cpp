#include "agent/base/Descriptor.h"
#include "agent/console/CommandSocket.h"
#include "agent/console/LineReader.h"
#include "agent/console/TextCommand.h"

#include <CLI/CLI.hpp>

#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <iostream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

/// umo-cli: sends one command to a running umo-agent, and prints the answer.
namespace {

constexpr char const *kFooter =
    "Examples:\n"
    "  umo-cli --socket /tmp/umo.sock showNatFlowActionHw\n"
    "  umo-cli help                     # what the agent answers\n"
    "  umo-cli apply changes.yaml\n"
    "  umo-cli trace 'UmoNat*/1-3'      # the agent traces on its own standard error\n"
    "\n"
    "Exit status:\n"
    "  0  the agent carried the command out\n"
    "  1  it did not: the answer, on standard error, says why\n"
    "  2  bad command line, no agent is answering, or the answer broke off\n";

enum class ExitStatus { good = 0, notDone = 1, notAsked = 2 };

constexpr std::chrono::seconds kPatience{60}; // more than the agent has

/// The words as the line that the agent is sent. A file to apply is named as the agent, which may
/// run in another folder, finds it. Throws std::invalid_argument.
std::string lineOf(std::vector<std::string> const &words) {
    std::string line;
    for (std::string const &word : words) {
        line += (line.empty() ? "" : " ") + word;
    }
    std::string const apply = "apply ";
    std::size_t const file = line.find_first_not_of(' ', apply.size());
    if (line.rfind(apply, 0) == 0 && file != std::string::npos) {
        line = apply + std::filesystem::absolute(line.substr(file)).string();
    }
    if (line.find('\n') != std::string::npos) {
        throw std::invalid_argument("a command is one line");
    }
    if (line.size() > UmoAgent::LineReader::kMaxLength) {
        throw std::invalid_argument("a command has at most " +
                                    std::to_string(UmoAgent::LineReader::kMaxLength) + " bytes");
    }
    return line;
}

void send(int socket, std::string_view text) {
    while (!text.empty()) {
        ssize_t const sent = ::send(socket, text.data(), text.size(), MSG_NOSIGNAL);
        if (sent < 0 && errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "the agent does not listen");
        }
        text.remove_prefix(sent < 0 ? 0 : static_cast<std::size_t>(sent));
    }
}

/// All of it before any is printed: the agent does not wait for a reader who pages through it.
/// Throws if the connection ends before the answer does.
std::string receive(int socket) {
    timeval const patience{kPatience.count(), 0};
    setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    std::string text;
    std::array<char, 65536> bytes{};
    for (;;) {
        ssize_t const got = recv(socket, bytes.data(), bytes.size(), 0);
        if (got == 0) {
            return text;
        }
        if (got < 0 && errno == EAGAIN) {
            throw std::runtime_error("the agent does not answer");
        }
        if (got < 0 && errno != EINTR) {
            throw std::system_error(errno, std::generic_category(),
                                    "the agent broke off, perhaps with the command carried out");
        }
        text.append(bytes.data(), got < 0 ? 0 : static_cast<std::size_t>(got));
    }
}

ExitStatus run(std::string const &path, std::string const &line) {
    UmoAgent::Descriptor const socket = UmoAgent::connectTo(path);
    send(socket.number(), line + "\n\n"); // something behind the line: see CommandServer
    std::string const answer = receive(socket.number());
    bool const done = answer.rfind(UmoAgent::kErrorMark, 0) != 0;
    (done ? std::cout : std::cerr) << answer << std::flush;
    if (!std::cout) {
        throw std::runtime_error("cannot write to standard output");
    }
    return done ? ExitStatus::good : ExitStatus::notDone;
}

} // namespace

int main(int argc, char **argv) {
    UmoAgent::openStandardDescriptors();
    CLI::App app("umo-cli [--socket PATH] COMMAND [ARGUMENT]\n"
                 "Sends one command to a running umo-agent, and prints the answer.",
                 "umo-cli");
    std::string socket = UmoAgent::kDefaultSocketPath;
    app.footer(kFooter);
    app.add_option("--socket", socket, "The Unix socket at which the agent answers")
        ->type_name("PATH")
        ->envname("UMO_SOCKET")
        ->capture_default_str();
    app.prefix_command(); // the first word that is no option begins what the agent is sent
    try {
        app.parse(argc, argv);
        if (app.remaining().empty()) {
            throw CLI::RequiredError("COMMAND");
        }
    } catch (CLI::ParseError const &error) {
        bool const asked = app.exit(error) == 0; // prints the help, or what is wrong
        return static_cast<int>(asked ? ExitStatus::good : ExitStatus::notAsked);
    }
    try {
        return static_cast<int>(run(socket, lineOf(app.remaining())));
    } catch (std::exception const &error) {
        std::cerr << "umo-cli: " << error.what() << '\n';
        return static_cast<int>(ExitStatus::notAsked);
    }
}
