#include "agent/cli/Prompt.h"

#include "agent/cli/Question.h"
#include "agent/console/CommandTable.h"
#include "agent/console/TextCommand.h"

#include <editline/readline.h>
#include <nlohmann/json.hpp>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace UmoAgent {

namespace {

using Choices = std::function<std::vector<std::string>(std::vector<std::string> const &words)>;

// The line editor calls functions without arguments of ours.
Choices theChoices;
std::vector<std::string> theMatching;

std::vector<std::string> wordsOf(std::string const &line) {
    std::istringstream in(line);
    std::vector<std::string> words;
    for (std::string word; in >> word;) {
        words.push_back(word);
    }
    return words;
}

/// Called with 0, 1, ... until it returns null; the editor frees what it returns.
char *nextMatching(char const * /*text*/, int number) {
    auto const index = static_cast<std::size_t>(number);
    return index < theMatching.size() ? strdup(theMatching[index].c_str()) : nullptr;
}

char **complete(char const *text, int start, int /*end*/) {
    std::string_view const typed(text);
    auto const words = wordsOf(std::string(rl_line_buffer, static_cast<std::size_t>(start)));
    if (words.size() == 1 && (words.front() == "apply" || words.front() == "diff")) {
        return nullptr; // the editor completes names of files
    }
    theMatching.clear();
    for (std::string &choice : theChoices(words)) {
        if (choice.rfind(typed, 0) == 0) {
            theMatching.push_back(std::move(choice));
        }
    }
    rl_attempted_completion_over = 1; // no names of files here
    return theMatching.empty() ? nullptr : rl_completion_matches(text, &nextMatching);
}

/// The values of a member in each row, each once.
std::vector<std::string> valuesOf(nlohmann::json const &rows, char const *member) {
    std::set<std::string> values;
    for (auto const &row : rows) {
        values.insert(row.at(member).get<std::string>());
    }
    return {values.begin(), values.end()};
}

/// The names that may follow, for a command that takes `names` of them.
std::vector<std::string> namesAfter(std::vector<std::string> const &words, std::size_t names,
                                    std::string const &socket) {
    auto const answer = [&](std::string const &line) {
        return nlohmann::json::parse(ask(socket, line + ' ' + kJsonWord, std::chrono::seconds(1)));
    };
    if (words.size() > names) {
        return {};
    }
    if (words.size() < 3) { // explaining a whole policy for its names would cost the agent time
        std::string const line = "showNatFlowGroup" + (words.size() == 1 ? "" : ' ' + words[1]);
        return valuesOf(answer(line).at("matches"), words.size() == 1 ? "policy" : "match");
    }
    auto const explained = answer("explain " + words[1] + ' ' + words[2]);
    return valuesOf(explained.at("matches").at(0).at("actions"), "action");
}

} // namespace

std::vector<std::string> choicesAfter(std::vector<std::string> const &words,
                                      std::string const &socket) {
    std::vector<std::string> choices;
    if (words.empty()) {
        for (CommandText const &command : kCommands) {
            choices.emplace_back(command.name);
        }
        choices.insert(choices.end(), {"diff", "exit", "watch"});
        return choices;
    }
    std::string const &command = words.front();
    if (command == "watch") {
        return choicesAfter({words.begin() + 1, words.end()}, socket);
    }
    try {
        if (command == "explain" || command == "picture") {
            choices = namesAfter(words, 3, socket);
        } else if (command == "showNatFlowGroup" || command == "showNatFlowActionHw") {
            choices = namesAfter(words, 1, socket);
        } else if (command == "set" && words.size() == 1) {
            choices = {"backlog-interval", "backlog-limit", "retry-delay"};
        }
    } catch (std::exception const &) { // the agent does not answer, or knows no such name
        choices.clear();
    }
    return choices;
}

void prompt(std::function<void(std::string const &line)> const &run, Choices choices) {
    theChoices = std::move(choices);
    rl_readline_name = "umo-cli";
    rl_attempted_completion_function = &complete;
    using_history();
    while (char *const text = readline("umo> ")) {
        std::string const line(text);
        std::free(text); // NOLINT(cppcoreguidelines-no-malloc): the editor's
        auto const words = wordsOf(line);
        if (words.empty()) {
            continue;
        }
        add_history(line.c_str());
        if (words.front() == "exit" || words.front() == "quit") {
            return;
        }
        run(line);
    }
    std::cout << '\n'; // the end of input leaves the prompt's line open
}

} // namespace UmoAgent
