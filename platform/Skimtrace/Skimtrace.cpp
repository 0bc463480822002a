#include "Skimtrace/Skimtrace.h"

#include <dlfcn.h>

#include <algorithm>
#include <ostream>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>

namespace Skimtrace {

// Initialized before any code runs, so that recording can begin while libraries load.
constinit Ring ring{};

namespace {

constinit Point *lastEntered = nullptr;

/// Where the library that holds the address begins; null if none does.
void const *libraryOf(void const *address) {
    Dl_info found{};
    return dladdr(address, &found) != 0 ? found.dli_fbase : nullptr;
}

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

void forgetLibraryOf(void const *address) {
    // Never destroyed, because libraries are unloaded also while the process ends. A library that
    // is loaded again has the same texts.
    static auto &texts = *new std::set<std::string>;
    void const *const library = libraryOf(address);
    for (Point **at = &lastEntered; *at != nullptr;) {
        bool const goes = libraryOf(*at) == library;
        Point *const next = (*at)->enteredBefore_;
        if (goes) {
            *at = next;
        } else {
            at = &(*at)->enteredBefore_;
        }
    }
    // Finding a library takes microseconds, and many records have the same format.
    std::unordered_map<char const *, char const *> formats; // and what replaces each
    std::uint64_t const kept = std::min<std::uint64_t>(ring.recorded, kCapacity);
    for (std::uint64_t i = 0; i < kept; ++i) {
        char const *&format = ring.records[i].format;
        auto const [place, first] = formats.try_emplace(format, format);
        if (first && libraryOf(format) == library) {
            place->second = texts.insert(format).first->c_str();
        }
        format = place->second;
    }
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
