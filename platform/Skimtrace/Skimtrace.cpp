#include "Skimtrace/Skimtrace.h"

#include <algorithm>
#include <cstring>
#include <ostream>
#include <utility>

namespace Skimtrace {

namespace {

struct ShortName {
    std::uint8_t size;
    char bytes[kNameBytes];

    void is(std::string_view name) noexcept {
        std::size_t const count = std::min(name.size(), kNameBytes);
        size = static_cast<std::uint8_t>(count);
        if (count >= 16) {
            copyEnds<16>(name.data(), count);
        } else if (count >= 8) {
            copyEnds<8>(name.data(), count);
        } else if (count >= 4) {
            copyEnds<4>(name.data(), count);
        } else {
            name.copy(bytes, count);
        }
    }

  private:
    /// Copies `count` bytes, Width to twice that many, as two pieces that may overlap: a fixed
    /// width is an instruction, where a counted copy is a call.
    template <std::size_t Width>
    void copyEnds(char const *from, std::size_t count) noexcept {
        std::memcpy(bytes, from, Width);
        std::memcpy(bytes + count - Width, from + count - Width, Width);
    }
};

struct Record {
    char const *format;
    std::uint32_t number;
    std::array<ShortName, 3> names;
};

struct Ring {
    std::array<Record, kCapacity> records;
    std::uint64_t recorded; // in all; the next record's place is this modulo the capacity
};

// Initialized before any code runs, so that recording may begin while libraries load.
constinit Ring ring{};
constinit Point const *lastEntered = nullptr;

void print(std::ostream &out, Record const &record) {
    std::size_t nextName = 0;
    for (char const *at = record.format; *at != '\0'; ++at) {
        if (at[0] == '%' && at[1] == 's' && nextName < record.names.size()) {
            ShortName const &name = record.names[nextName++];
            out.write(name.bytes, name.size);
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

void Point::record(Names const &names, std::uint32_t number) noexcept {
    if (entries_++ == 0) {
        enteredBefore_ = std::exchange(lastEntered, this);
    }
    Record &record = ring.records[ring.recorded++ % kCapacity];
    record.format = format_;
    record.number = number;
    record.names[0].is(names.first);
    record.names[1].is(names.second);
    record.names[2].is(names.third);
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
