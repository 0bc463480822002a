#include "BenchSwitch.h"
#include "ForgetfulChip.h"
#include "Mox/Census.h"

#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <jemalloc/jemalloc.h>
#include <map>

/// The memory cost of an action: compares a switch whose actions each send to one VLAN interface of
/// four ports, inputs included, with the same switch without actions. Prints lines of "class TAB
/// objects TAB bytes", all per action. The last two are what the objects hold besides themselves,
/// and the sum.
namespace {

constexpr std::size_t kActions = 4000;

struct Count {
    std::map<std::string, Mox::Census::Entry> classes;
    std::size_t heapBytes = 0;

    static Count now() {
        Count count;
        for (auto const &entry : Mox::Census::live()) {
            count.classes[entry.name] = entry;
        }
        count.heapBytes = heapBytesNow();
        return count;
    }

  private:
    /// The allocated bytes, including the allocator's rounding, but not what it keeps for reuse.
    static std::size_t heapBytesNow() {
        std::uint64_t epoch = 1; // refreshes the statistics
        std::size_t bytes = 0;
        std::size_t size = sizeof bytes;
        if (mallctl("thread.tcache.flush", nullptr, nullptr, nullptr, 0) != 0 ||
            mallctl("epoch", nullptr, nullptr, &epoch, sizeof epoch) != 0 ||
            mallctl("stats.allocated", &bytes, &size, nullptr, 0) != 0) {
            std::abort();
        }
        return bytes;
    }
};

/// What a started switch with that many actions adds to the process.
Count costOf(std::size_t actions) {
    Count const before = Count::now();
    Bench::BenchSwitch sw(actions, Bench::BenchSwitch::Kind::floodedVlans);
    sw.start(Mox::make<Bench::ForgetfulChip>());
    Count cost = Count::now();
    for (auto const &[name, entry] : before.classes) {
        cost.classes[name].live -= entry.live;
    }
    cost.heapBytes -= before.heapBytes;
    return cost;
}

double perAction(std::size_t with, std::size_t without) {
    return static_cast<double>(with - without) / static_cast<double>(kActions);
}

} // namespace

int main() {
    Mox::Census::activeIs(true);
    costOf(0); // makes everything that is made once per process
    Count const without = costOf(0);
    Count with = costOf(kActions);
    double objectBytes = 0;
    for (auto const &[name, entry] : with.classes) {
        auto const found = without.classes.find(name);
        double const objects =
            perAction(entry.live, found == without.classes.end() ? 0 : found->second.live);
        if (objects > 0) {
            double const bytes = objects * static_cast<double>(entry.size);
            std::cout << name << '\t' << objects << '\t' << bytes << '\n';
            objectBytes += bytes;
        }
    }
    double const all = perAction(with.heapBytes, without.heapBytes);
    std::cout << "collections, names, subscriptions, heap\t\t" << all - objectBytes << '\n'
              << "all\t\t" << all << '\n';
}
