#include "Skimtrace/Skimtrace.h"

#include <algorithm>
#include <ostream>
#include <utility>

namespace Skimtrace {

// Initialized before any code runs, so that recording can begin while libraries load.
constinit Ring ring{};

namespace {

constinit Point const *lastEntered = nullptr;

void print(std::ostream &out, Record const &record) {
    std::size_t nextName = 0;
    for (char const *at = record.format; *at != '\0'; ++at) {
        if (at[0] == '%' && at[1] == 's' && nextName < record.names.size()) {
            out << record.names[nextName++].text();
            ++at;
        } else if (at[0] == '%' && at[1] == 'u') {
            out << record.number;
            ++at;
        } else {
            out << *at;
        }
    }
}

} // namespace

void Point::joinEntered() noexcept {
    enteredBefore_ = std::exchange(lastEntered, this);
}

std::string_view Point::name() const noexcept {
    std::string_view const format(format_);
    return format.substr(0, format.find(' '));
}

std::vector<Point const *> points() {
    std::vector<Point const *> all;
    for (Point const *point = lastEntered; point != nullptr; point = point->enteredBefore_) {
        all.push_back(point);
    }
    std::sort(all.begin(), all.end(),
              [](Point const *a, Point const *b) { return a->name() < b->name(); });
    return all;
}

void dump(std::ostream &out, std::size_t count) {
    std::uint64_t const kept = std::min<std::uint64_t>(ring.recorded, kCapacity);
    for (std::uint64_t i = ring.recorded - std::min<std::uint64_t>(kept, count); i < ring.recorded;
         ++i) {
        out << i << ' ';
        print(out, ring.records[i % kCapacity]);
        out << '\n';
    }
}

} // namespace Skimtrace
