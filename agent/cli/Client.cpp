#include "agent/cli/Client.h"

#include "agent/base/FileText.h"
#include "agent/base/Text.h"
#include "agent/cli/Diff.h"
#include "agent/cli/Question.h"
#include "agent/console/CommandSocket.h"
#include "agent/console/CommandTable.h"
#include "agent/console/LineReader.h"
#include "agent/console/TextCommand.h"

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <iostream>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <thread>
#include <utility>
#include <variant>

namespace UmoAgent {

namespace {

constexpr std::string_view kDryRun = "--dry-run"; // of `apply`

std::string joined(std::vector<std::string> const &words) {
    std::string line;
    for (std::string const &word : words) {
        line.append(line.empty() ? "" : " ").append(word);
    }
    return line;
}

/// The line to send for these words. A file to apply is named by its absolute path, because the
/// agent may run in another folder. Throws std::invalid_argument.
std::string lineOf(std::vector<std::string> words) {
    if (words.front() == "apply" && words.size() > 1) {
        bool const dry = std::erase(words, kDryRun) != 0;
        std::string const file = joined({words.begin() + 1, words.end()});
        words = {"apply"};
        if (dry) {
            words.emplace_back(kDryRun);
        }
        if (!file.empty()) {
            words.push_back(std::filesystem::absolute(file).string());
        }
    }
    std::string line = joined(words);
    if (line.find('\n') != std::string::npos) {
        throw std::invalid_argument("a command is one line");
    }
    if (line.size() > LineReader::kMaxLength) {
        throw std::invalid_argument("a command has at most " +
                                    std::to_string(LineReader::kMaxLength) + " bytes");
    }
    return line;
}

/// A command that is asked again and again, or for what it shows, must not change anything, and
/// must end. Throws std::invalid_argument.
void requireThatItShows(std::vector<std::string> const &words) {
    std::string const &name = words.front();
    bool const sets = (name == "set" || name == "trace") && words.size() > 1;
    if (name == "apply" || name == "audit" || name == "events" || sets) {
        throw std::invalid_argument(joined(words) + " does not only show something");
    }
}

/// The whole answer. A refusal is printed instead, and is none.
std::optional<std::string> answerTo(Request const &request, std::string const &line) {
    std::string answer = ask(request.socket, line, std::chrono::seconds(request.timeout));
    if (answer.rfind(kErrorMark, 0) == 0) {
        std::cerr << printable(answer, "\n\t");
        return std::nullopt;
    }
    return answer;
}

void print(std::string_view text) {
    std::cout << printable(text, "\n\t") << std::flush;
    if (!std::cout) {
        throw std::runtime_error("cannot write to standard output");
    }
}

/// Prints whole lines as they come.
ClientStatus followEvents(Request const &request, std::string const &line) {
    std::string rest;
    bool refused = false;
    auto const take = [&](std::string_view piece) {
        rest += piece;
        refused = refused || rest.rfind(kErrorMark, 0) == 0;
        std::size_t const end = rest.rfind('\n') + 1; // 0 if there is none
        if (refused) {
            std::cerr << printable(rest.substr(0, end), "\n\t");
        } else {
            print(rest.substr(0, end));
        }
        rest.erase(0, end);
    };
    follow(request.socket, line, std::chrono::seconds(request.timeout), take);
    return refused ? ClientStatus::notDone : ClientStatus::good;
}

/// Asks again each second, and prints the answer whenever it is another, until it is a refusal.
ClientStatus watch(Request const &request, std::string const &line) {
    using Clock = std::chrono::steady_clock;
    auto const start = Clock::now();
    std::optional<std::string> before;
    for (;;) {
        auto answer = answerTo(request, line);
        if (!answer) {
            return ClientStatus::notDone;
        }
        if (answer != before) {
            auto const after = std::chrono::round<std::chrono::seconds>(Clock::now() - start);
            if (!request.json) {
                print("-- after " + std::to_string(after.count()) + " s\n");
            }
            print(*answer);
        }
        before = std::move(answer);
        std::this_thread::sleep_for(std::chrono::seconds(1));
    }
}

/// Compares a saved answer in JSON with the answer now.
ClientStatus diff(Request const &request, std::string const &file, std::string const &line) {
    auto const saved = readFileText(file, kMaxAnswer);
    if (auto const *const unreadable = std::get_if<Unreadable>(&saved)) {
        throw std::runtime_error(file + ": " + unreadable->reason);
    }
    auto const now = answerTo(request, line + ' ' + kJsonWord);
    if (!now) {
        return ClientStatus::notDone;
    }
    auto const found = differences(std::get<std::string>(saved), *now);
    print(request.json ? jsonOf(found) : textOf(found));
    return found.empty() ? ClientStatus::good : ClientStatus::notDone;
}

} // namespace

ClientStatus carryOut(Request request) {
    auto &words = request.words;
    request.json = std::erase(words, kJsonWord) != 0 || request.json;
    if (words.empty()) {
        throw std::invalid_argument("a command is expected");
    }
    bool const watched = words.front() == "watch";
    if (words.front() == "diff") {
        if (words.size() < 3) {
            throw std::invalid_argument("diff: a file and a command are expected");
        }
        std::string const file = words[1];
        words.erase(words.begin(), words.begin() + 2);
        requireThatItShows(words);
        return diff(request, file, lineOf(words));
    }
    if (watched) {
        words.erase(words.begin());
        if (words.empty()) {
            words = {"showNatFlowGroup"};
        }
        requireThatItShows(words);
    }
    std::string const command = lineOf(words);
    std::string const line = request.json ? command + ' ' + kJsonWord : command;
    if (watched) {
        return watch(request, line);
    }
    if (command == "events") {
        return followEvents(request, line);
    }
    try {
        auto const answer = answerTo(request, line);
        if (!answer) {
            return ClientStatus::notDone;
        }
        print(*answer);
    } catch (NobodyAnswers const &error) {
        if (command != "help") {
            throw;
        }
        printCommands({std::cout, request.json});
        std::cerr << "umo-cli: " << printable(error.what()) << '\n';
        print("");
    }
    return ClientStatus::good;
}

} // namespace UmoAgent
