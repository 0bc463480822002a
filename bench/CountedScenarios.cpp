#include "BenchSwitch.h"
#include "StrictChip.h"
#include "agent/Player.h"
#include "agent/scenario/ScenarioReader.h"

#include <functional>
#include <iostream>
#include <limits>
#include <map>
#include <sstream>
#include <variant>

/// Plays one of the scenarios whose instructions are counted; see bench/counts. Only the work
/// inside countedWork counts, not start-up or the making of inputs.

extern "C" [[gnu::noinline]] void countedWork(std::function<void()> const &work) {
    work();
}

namespace {

constexpr std::size_t kActions = 1000;

/// Brings up a thousand actions and removes them.
void bringUp() {
    Bench::BenchSwitch sw(kActions);
    countedWork([&] {
        sw.start(Bench::strictChip());
        sw.stop();
    });
}

/// On a switch of a thousand actions a port with a hundred of them flaps ten times.
void portFlaps() {
    Bench::BenchSwitch sw(kActions);
    sw.start(Bench::strictChip());
    countedWork([&] {
        for (int i = 0; i < 10; ++i) {
            sw.flapPortIs(false);
            sw.flapPortIs(true);
        }
    });
}

/// The agent plays its examples, from reading the files to the last printout.
void examples() {
    std::ostringstream out;
    countedWork([&] {
        for (char const *name :
             {"group-exhaustion", "market-data-feed", "stadium-video", "topology-changes"}) {
            auto const read = UmoAgent::readScenarioFile("examples/" + std::string(name) + ".yaml");
            UmoAgent::play(std::get<UmoAgent::Scenario>(read), {}, out, std::cerr);
        }
    });
}

} // namespace

int main(int argc, char **argv) {
    std::map<std::string, void (*)()> const scenarios{
        {"bring-up", &bringUp}, {"examples", &examples}, {"port-flaps", &portFlaps}};
    auto const found = argc == 2 ? scenarios.find(argv[1]) : scenarios.end();
    if (found == scenarios.end()) {
        for (auto const &[name, scenario] : scenarios) {
            std::cout << name << '\n';
        }
        return argc == 1 ? 0 : 2;
    }
    found->second();
    return 0;
}
