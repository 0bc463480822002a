#include "Mox/LogEvent.h"
#include "Mox/Trace.h"
#include "Skimtrace/Skimtrace.h"
#include "agent/openflow/SwitchProgrammer.h"
#include "agent/show/Printers.h"
#include "agent/show/Values.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <iomanip>
#include <ostream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace UmoAgent {

namespace {

/// A heading, then a line for each counter.
void printCounters(std::ostream &out, char const *heading, Json const &counters) {
    constexpr int kNameWidth = 62;
    out << heading << ":\n";
    for (auto const &[name, calls] : counters.items()) {
        out << "  " << std::left << std::setw(kNameWidth) << name << std::setw(0) << ' ' << calls
            << '\n';
    }
}

void printCountersText(std::ostream &out, Json const &value) {
    printCounters(out, "handlers", value.at("handlers"));
    printCounters(out, "operations of the chip", value.at("chip"));
    if (auto const found = value.find("switch"); found != value.end()) {
        printCounters(out, "the switch", *found);
    }
    if (auto const refusal = value.find("last-refusal"); refusal != value.end()) {
        out << "  last refusal: " << refusal->get_ref<std::string const &>() << '\n';
    }
}

Json switchCounters(SwitchProgrammer::Counters const &counters) {
    return record({{"bundles", counters.bundles},
                   {"groups that they changed", counters.groups},
                   {"flows that they changed", counters.flows},
                   {"refused bundles", counters.refused},
                   {"audits", counters.audits},
                   {"groups and flows that they mended", counters.mended}});
}

void printSkimtraceText(std::ostream &out, Json const &value) {
    for (Json const &entry : value.at("entries")) {
        out << entry.get_ref<std::string const &>() << '\n';
    }
}

void printLogEventsText(std::ostream &out, Json const &value) {
    for (Json const &event : value.at("events")) {
        out << textOf(event, "event") << ", severity " << event.at("severity") << '\n'
            << "  message: " << textOf(event, "message") << '\n'
            << "  explanation: " << textOf(event, "explanation") << '\n'
            << "  recommended action: " << textOf(event, "recommended-action") << '\n';
    }
}

void printTraceLevelsText(std::ostream &out, Json const &value) {
    for (Json const &piece : value.at("unknown")) {
        out << "no handle for " << piece.get_ref<std::string const &>() << '\n';
    }
    for (Json const &handle : value.at("handles")) {
        std::string const &levels = textOf(handle, "levels");
        out << textOf(handle, "handle") << '/' << (levels.empty() ? "off" : levels) << '\n';
    }
}

/// The levels that are on, such as `1-3,9`; empty if none is.
std::string levelsOf(Mox::TraceHandle const &handle) {
    std::string levels;
    for (int first = 0; first <= Mox::TraceHandle::kMaxLevel; ++first) {
        if (handle.on(first)) {
            int last = first;
            while (last < Mox::TraceHandle::kMaxLevel && handle.on(last + 1)) {
                ++last;
            }
            levels += (levels.empty() ? "" : ",") + std::to_string(first);
            levels += last > first ? "-" + std::to_string(last) : "";
            first = last;
        }
    }
    return levels;
}

} // namespace

void printCounters(Reply const &reply, UmoHelper::CheckedHelper const &helper,
                   SwitchProgrammer const *programmer) {
    Json handlers = Json::object(), operations = Json::object();
    for (Skimtrace::Point const *point : Skimtrace::points()) {
        handlers[std::string(point->name())] = point->entries();
    }
    for (std::size_t i = 0; i < UmoHelper::kOperations; ++i) {
        operations[std::string(UmoHelper::operationNames().at(i))] =
            helper.calls(static_cast<UmoHelper::Operation>(i));
    }
    Json value = record({{"handlers", std::move(handlers)}, {"chip", std::move(operations)}});
    if (programmer != nullptr) {
        value["switch"] = switchCounters(programmer->counters());
        if (std::string const &refusal = programmer->counters().refusal; !refusal.empty()) {
            value["last-refusal"] = printable(refusal);
        }
    }
    reply.give(std::move(value), printCountersText);
}

void printSkimtrace(Reply const &reply, std::size_t count) {
    std::stringstream dump;
    Skimtrace::dump(dump, count);
    std::uint64_t next = 0; // entries are numbered: a line without the next number continues one
    std::vector<std::string> entries;
    for (std::string line; std::getline(dump, line);) {
        std::size_t const digits = std::min(line.find(' '), line.size());
        if (entries.empty()) {
            std::from_chars(line.data(), line.data() + digits, next);
        }
        if (line.substr(0, digits) == std::to_string(next)) {
            entries.push_back(printable(line));
            ++next;
        } else {
            (entries.empty() ? entries.emplace_back() : entries.back())
                .append("\\x0a")
                .append(printable(line));
        }
    }
    reply.give(record({{"entries", std::move(entries)}}), printSkimtraceText);
}

void printLogEvents(Reply const &reply) {
    Json events = Json::array();
    for (Mox::LogHandle const *handle : Mox::logHandles()) {
        Mox::LogEvent const &event = handle->event();
        events.push_back(record({{"event", event.name},
                                 {"severity", event.severity},
                                 {"message", event.message},
                                 {"explanation", event.explanation},
                                 {"recommended-action", event.recommendedAction}}));
    }
    reply.give(record({{"events", std::move(events)}}), printLogEventsText);
}

void printTraceLevels(Reply const &reply, std::vector<std::string> const &unknown) {
    Json names = Json::array(), handles = Json::array();
    for (std::string const &piece : unknown) {
        names.push_back(printable(piece));
    }
    for (Mox::TraceHandle const *handle : Mox::traceHandles()) {
        handles.push_back(record({{"handle", handle->name()}, {"levels", levelsOf(*handle)}}));
    }
    reply.give(record({{"unknown", std::move(names)}, {"handles", std::move(handles)}}),
               printTraceLevelsText);
}

} // namespace UmoAgent
