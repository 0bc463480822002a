#include "agent/scenario/ScenarioReader.h"
#include "agent/Player.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>
#include <variant>

/// Any text either is a scenario that plays without a contract error, or is reported as faulty.
extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const *bytes, std::size_t size) {
    std::string const text(reinterpret_cast<char const *>(bytes), size);
    auto read = UmoAgent::readScenario("input", text);
    if (auto const *const faults = std::get_if<UmoAgent::ScenarioFaults>(&read)) {
        return faults->empty() ? std::abort(), 0 : 0;
    }
    // A chip without room for port sets stops the process by design.
    auto &scenario = std::get<UmoAgent::Scenario>(read);
    auto const leaveRoom = [](UmoAgent::Changes &changes) {
        for (UmoAgent::AnyChange &change : changes) {
            using Chip = UmoAgent::Change<UmoAgent::Table::Chip>;
            if (auto *const chip = std::get_if<Chip>(&change)) {
                chip->value->portSetsPerGroup = 4096;
            }
        }
    };
    leaveRoom(scenario.initial);
    for (UmoAgent::Event &event : scenario.events) {
        leaveRoom(event.changes);
    }
    std::ostringstream out;
    std::ostringstream errors;
    UmoAgent::play(scenario, {}, out, errors);
    errors.str('\n' + errors.str());
    bool const faulty = errors.str().find("\n[") != std::string::npos; // not only warnings
    return faulty ? (std::abort(), 0) : 0;
}
