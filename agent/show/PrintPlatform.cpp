#include "Mox/LogEvent.h"
#include "Mox/Trace.h"
#include "Skimtrace/Skimtrace.h"
#include "agent/base/Text.h"
#include "agent/openflow/SwitchProgrammer.h"
#include "agent/show/Printers.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <iomanip>
#include <ostream>
#include <sstream>
#include <string>
#include <string_view>

namespace UmoAgent {

namespace {

void printCounter(std::ostream &out, std::string_view name, std::uint64_t calls) {
    constexpr int kNameWidth = 62;
    out << "  " << std::left << std::setw(kNameWidth) << name << ' ' << calls << '\n';
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

void printCounters(std::ostream &out, SoftSwitch const &chip) {
    out << "handlers:\n";
    for (Skimtrace::Point const *point : Skimtrace::points()) {
        printCounter(out, point->name(), point->entries());
    }
    out << "operations of the chip:\n";
    for (std::size_t i = 0; i < SoftSwitch::kOperations; ++i) {
        printCounter(out, SoftSwitch::operationNames().at(i),
                     chip.calls(static_cast<SoftSwitch::Operation>(i)));
    }
}

void printSwitchCounters(std::ostream &out, SwitchProgrammer const &programmer) {
    auto const &counters = programmer.counters();
    out << "the switch:\n";
    printCounter(out, "bundles", counters.bundles);
    printCounter(out, "groups that they changed", counters.groups);
    printCounter(out, "flows that they changed", counters.flows);
    printCounter(out, "refused bundles", counters.refused);
    printCounter(out, "audits", counters.audits);
    printCounter(out, "groups and flows that they mended", counters.mended);
    if (!counters.refusal.empty()) {
        out << "  last refusal: " << printable(counters.refusal) << '\n';
    }
}

void printSkimtrace(std::ostream &out, std::size_t count) {
    std::stringstream dump;
    Skimtrace::dump(dump, count);
    std::uint64_t next = 0; // entries are numbered: a line without the next number continues one
    char const *end = "";
    for (std::string line; std::getline(dump, line);) {
        bool const first = *end == '\0';
        std::size_t const digits = std::min(line.find(' '), line.size());
        if (first) {
            std::from_chars(line.data(), line.data() + digits, next);
        }
        bool const begins = line.substr(0, digits) == std::to_string(next);
        next += begins ? 1 : 0;
        out << (begins ? end : "\\x0a") << printable(line);
        end = "\n";
    }
    out << end;
}

void printLogEvents(std::ostream &out) {
    for (Mox::LogHandle const *handle : Mox::logHandles()) {
        Mox::LogEvent const &event = handle->event();
        out << event.name << ", severity " << event.severity << '\n'
            << "  message: " << event.message << '\n'
            << "  explanation: " << event.explanation << '\n'
            << "  recommended action: " << event.recommendedAction << '\n';
    }
}

void printTraceLevels(std::ostream &out) {
    for (Mox::TraceHandle const *handle : Mox::traceHandles()) {
        std::string const levels = levelsOf(*handle);
        out << handle->name() << '/' << (levels.empty() ? "off" : levels) << '\n';
    }
}

} // namespace UmoAgent
