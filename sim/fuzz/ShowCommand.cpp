#include "UmoNat/UmoNatFlowMcastSmCli.h"
#include "sim/fuzz/FuzzedAgent.h"

#include <cstddef>
#include <cstdint>
#include <fcntl.h>
#include <string>

/// The show command answers any line.
extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const *bytes, std::size_t size) {
    static Sim::FuzzedAgent fuzzed;
    static auto const command = umoNatFlowMcastSmCliCallbackFactory(
        "showNatFlowActionHw", "", fuzzed.agent.state().hwStatus());
    static int const nowhere = open("/dev/null", O_WRONLY);
    command->handleCommand(static_cast<std::uint32_t>(nowhere),
                           std::string(reinterpret_cast<char const *>(bytes), size));
    return 0;
}
