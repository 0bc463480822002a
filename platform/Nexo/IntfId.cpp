#include "Nexo/IntfId.h"

#include "Nexo/detail/TextParsing.h"

#include <algorithm>
#include <array>
#include <deque>
#include <ostream>
#include <unordered_map>
#include <utility>

namespace Nexo {

namespace {

struct Kind {
    std::string_view longPrefix;
    std::string_view shortPrefix;
    std::uint16_t min;
    std::uint16_t max;
    std::size_t maxNumbers; // how many numbers may follow, separated by slashes
    bool isVlan;
};

constexpr std::size_t kMaxNumbers = 3;
constexpr std::size_t kMaxPlainLength = 15; // that of Linux

constexpr std::array<Kind, 5> kKinds{{
    {"Ethernet", "Et", 1, 9999, kMaxNumbers, false},
    {"Port-Channel", "Po", 1, 9999, 1, false},
    {"Vlan", "Vl", 0, 4095, 1, true},
    {"Loopback", "Lo", 0, 9999, 1, false},
    {"Management", "Ma", 0, 9999, 1, false},
}};

/// A parsed name of a kind. Its key is the same for the long and the short form, so one lookup of a
/// number finds the interface by either, without building a string.
struct ParsedName {
    Kind const &kind;
    std::string_view numberText; // the rest of the name after the prefix
    std::uint16_t firstNumber;
    std::uint64_t key; // kind and three numbers, 16 bits each
};

[[noreturn]] void throwMalformedNumbers(std::string_view name, Kind const &kind) {
    std::string expected(kind.maxNumbers > 1 ? "one to three numbers " : "one number ");
    expected.append(std::to_string(kind.min)).append("-").append(std::to_string(kind.max));
    expected.append(" without leading zeros after ").append(kind.longPrefix);
    if (kind.maxNumbers > 1) {
        expected.append(", separated by slashes");
    }
    detail::throwMalformed("interface name", name, expected);
}

/// Nothing if the name is not of a kind.
std::optional<ParsedName> parseName(std::string_view name) {
    auto const prefix = name.substr(0, name.find_first_of("0123456789"));
    auto const kind = std::find_if(kKinds.begin(), kKinds.end(), [prefix](Kind const &k) {
        return prefix == k.longPrefix || prefix == k.shortPrefix;
    });
    if (kind == kKinds.end()) {
        return std::nullopt;
    }

    auto const numberText = name.substr(prefix.size());
    detail::Fields fields(numberText, '/');
    std::array<std::uint64_t, kMaxNumbers> numbers{}; // 0 where a port has fewer
    std::size_t count = 0;
    do {
        auto const number = detail::parseDecimal(fields.next(), kind->min, kind->max);
        if (!number || count == kind->maxNumbers) {
            throwMalformedNumbers(name, *kind);
        }
        numbers[count++] = *number;
    } while (!fields.done());

    auto const kindIndex = static_cast<std::uint64_t>(kind - kKinds.begin());
    return ParsedName{*kind, numberText, static_cast<std::uint16_t>(numbers[0]),
                      kindIndex << 48 | numbers[0] << 32 | numbers[1] << 16 | numbers[2]};
}

/// Throws unless a name that is not of a kind can be one. Without slashes and dots alone, a name is
/// also the name of a file.
void checkPlainName(std::string_view name) {
    bool const allowed = std::all_of(name.begin(), name.end(),
                                     [](char c) { return c > ' ' && c < '\x7f' && c != '/'; });
    if (!allowed || name.size() > kMaxPlainLength || name == "." || name == "..") {
        detail::throwMalformed("interface name", name,
                               "1 to 15 visible ASCII characters without slashes, neither . nor "
                               "..; or a number after Ethernet, Port-Channel, Vlan, Loopback or "
                               "Management, or after Et, Po, Vl, Lo or Ma");
    }
}

struct Record {
    std::string longName;
    std::string shortName;
    std::optional<std::uint16_t> vlan;
};

/// The interfaces named so far. It lives in the platform's shared library, so that the agent and
/// every library it loads agree on the numbers.
class InternTable {
  public:
    static InternTable &instance() {
        // Never destroyed: names are still printed while statics are destroyed.
        static auto &table = *new InternTable;
        return table;
    }

    std::uint32_t intern(std::string_view name) {
        auto const parsed = parseName(name);
        return parsed ? intern(*parsed) : internPlain(name);
    }

    Record const &record(std::uint32_t number) const { return records_[number]; }

  private:
    std::uint32_t intern(ParsedName const &name) {
        if (auto const known = numbers_.find(name.key); known != numbers_.end()) {
            return known->second;
        }
        Record record;
        record.longName.append(name.kind.longPrefix).append(name.numberText);
        record.shortName.append(name.kind.shortPrefix).append(name.numberText);
        if (name.kind.isVlan) {
            record.vlan = name.firstNumber;
        }
        std::uint32_t const number = add(std::move(record));
        numbers_.emplace(name.key, number);
        return number;
    }

    std::uint32_t internPlain(std::string_view name) {
        if (auto const known = plainNumbers_.find(name); known != plainNumbers_.end()) {
            return known->second;
        }
        checkPlainName(name);
        std::uint32_t const number = add({std::string(name), std::string(name), std::nullopt});
        plainNumbers_.emplace(record(number).longName, number);
        return number;
    }

    std::uint32_t add(Record record) {
        records_.push_back(std::move(record));
        return static_cast<std::uint32_t>(records_.size() - 1);
    }

    std::unordered_map<std::uint64_t, std::uint32_t> numbers_;         // by ParsedName::key
    std::unordered_map<std::string_view, std::uint32_t> plainNumbers_; // views of records
    std::deque<Record> records_{Record{}}; // by number, the empty one first; never moved
};

} // namespace

IntfId::IntfId(std::string_view name)
    : number_(name.empty() ? 0 : InternTable::instance().intern(name)) {}

std::string const &IntfId::stringValue() const {
    return InternTable::instance().record(number_).longName;
}

std::string const &IntfId::shortName() const {
    return InternTable::instance().record(number_).shortName;
}

std::optional<std::uint16_t> IntfId::vlan() const {
    return InternTable::instance().record(number_).vlan;
}

std::ostream &operator<<(std::ostream &os, IntfId intf) {
    return os << intf.stringValue();
}

} // namespace Nexo
