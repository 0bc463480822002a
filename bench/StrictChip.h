#pragma once

#include "HelperKit/CheckedHelper.h"
#include "agent/chip/SoftSwitch.h"

#include <cstdlib>
#include <iostream>
#include <limits>

namespace Bench {

/// The agent's chip without limits. A call that breaks the contract stops the process.
inline Mox::Ptr<UmoHelper::CheckedHelper> strictChip() {
    constexpr auto kNoLimit = std::numeric_limits<std::uint32_t>::max();
    return Mox::make<UmoHelper::CheckedHelper>(
        Mox::make<UmoAgent::SoftSwitch>(UmoAgent::ChipCapacity{kNoLimit, kNoLimit}),
        [](UmoHelper::CheckedHelper::Finding const &finding) {
            std::cerr << finding.text() << '\n';
            std::abort();
        });
}

} // namespace Bench
