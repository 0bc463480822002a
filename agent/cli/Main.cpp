#include "agent/base/CommandLine.h"
#include "agent/base/Descriptor.h"
#include "agent/base/Text.h"
#include "agent/cli/Client.h"
#include "agent/cli/Prompt.h"

#include <sys/wait.h>

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <iostream>
#include <iterator>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

/// umo-cli: sends one command to a running umo-agent, and prints the answer.
namespace {

constexpr char const *kFooter =
    "Examples:\n"
    "  umo-cli --socket /tmp/umo.sock showNatFlowActionHw\n"
    "  umo-cli help                     # the commands\n"
    "  umo-cli --json showNatFlowGroup  # for a program\n"
    "  umo-cli watch showChip           # again whenever the answer changes\n"
    "  umo-cli events                   # what happens, as it happens\n"
    "  umo-cli --json showChip >then; umo-cli diff then showChip\n"
    "  umo-cli apply changes.yaml\n"
    "  umo-cli apply --dry-run changes.yaml  # the chip's calls that it would lead to\n"
    "  umo-cli trace 'UmoNat*/1-3'      # the agent traces on its own standard error\n"
    "\n"
    "Exit status:\n"
    "  0  the agent carried the command out\n"
    "  1  it did not: the answer, on standard error, says why; or diff found differences\n"
    "  2  bad command line, no agent is answering in time, or the answer broke off\n";

void declare(CLI::App &app, UmoAgent::Request &request) {
    app.footer(kFooter);
    app.set_version_flag("--version", "umo-cli " UMO_VERSION, "Print the version");
    app.add_option("--socket", request.socket, "The Unix socket at which the agent answers")
        ->type_name("PATH")
        ->envname("UMO_SOCKET")
        ->capture_default_str();
    app.add_option("--timeout", request.timeout, "How long to wait for the answer in all")
        ->type_name("SECONDS")
        ->check(CLI::Range(1, 86400))
        ->capture_default_str();
    app.add_flag("--json", request.json, "Print the answer as JSON");
    app.allow_extras(); // the words to send to the agent
}

/// The words of the command: everything that is not an option of this program. After `--` they may
/// look like options. None at a terminal, for the prompt.
std::vector<std::string> wordsOf(CLI::App const &app) {
    std::vector<std::string> words = app.remaining();
    auto const mark = std::find(words.begin(), words.end(), "--");
    bool const apply = words.begin() != mark && words.front() == "apply";
    auto const option = std::find_if(words.begin(), mark, [&](std::string const &word) {
        return word.size() > 1 && word.front() == '-' && !(apply && word == "--dry-run");
    });
    if (option != mark) {
        throw CLI::ExtrasError({*option});
    }
    if (mark != words.end()) {
        words.erase(mark);
    }
    if (words.empty() && !(isatty(STDIN_FILENO) == 1 && isatty(STDOUT_FILENO) == 1)) {
        throw CLI::RequiredError("COMMAND");
    }
    return words;
}

/// Carries the request out, and prints why it cannot be.
UmoAgent::ClientStatus run(UmoAgent::Request request) {
    try {
        return UmoAgent::carryOut(std::move(request));
    } catch (std::exception const &error) {
        std::cerr << "umo-cli: " << UmoAgent::printable(error.what()) << '\n';
        return UmoAgent::ClientStatus::notAsked;
    }
}

/// Each line is a request of its own, for the same agent. It runs in a process of its own, so an
/// interrupt ends what goes on, such as events, and not the prompt.
void carryOutLine(UmoAgent::Request const &request, std::string const &line) {
    std::cout.flush();
    pid_t const child = fork();
    if (child < 0) {
        std::cerr << "umo-cli: no process for the command\n";
    } else if (child == 0) {
        std::signal(SIGINT, SIG_DFL);
        std::istringstream words(line);
        UmoAgent::Request each = request;
        each.words.assign(std::istream_iterator<std::string>(words), {});
        int const status = static_cast<int>(run(std::move(each)));
        std::cout.flush();
        _exit(status);
    }
    while (child > 0 && waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
    }
}

void runPrompt(UmoAgent::Request const &request) {
    std::signal(SIGINT, SIG_IGN);
    UmoAgent::prompt([&](std::string const &line) { carryOutLine(request, line); },
                     [&](std::vector<std::string> const &words) {
                         return UmoAgent::choicesAfter(words, request.socket);
                     });
}

} // namespace

int main(int argc, char **argv) {
    UmoAgent::openStandardDescriptors();
    CLI::App app("umo-cli [OPTIONS] [COMMAND [ARGUMENT]...]\n"
                 "Sends one command to a running umo-agent, and prints the answer. Arguments that\n"
                 "look like options and are for the agent follow --. Without a command, at a\n"
                 "terminal, it asks for commands.",
                 "umo-cli");
    UmoAgent::Request request;
    declare(app, request);
    try {
        app.parse(argc, argv);
        request.words = wordsOf(app);
    } catch (CLI::ParseError const &error) {
        bool const asked = UmoAgent::explain(app, error);
        return static_cast<int>(asked ? UmoAgent::ClientStatus::good
                                      : UmoAgent::ClientStatus::notAsked);
    }
    if (request.words.empty()) {
        runPrompt(request);
        return static_cast<int>(UmoAgent::ClientStatus::good);
    }
    return static_cast<int>(run(std::move(request)));
}
