#include "agent/openflow/OpenFlowTables.h"

#include <algorithm>

namespace UmoAgent {

std::string flowMatch(FlowTable table, std::uint32_t priority, std::vector<std::string> fields) {
    std::sort(fields.begin(), fields.end());
    std::string match = "table=" + std::to_string(static_cast<unsigned>(table)) +
                        ",priority=" + std::to_string(priority);
    for (std::string const &field : fields) {
        match.append(1, ',').append(field);
    }
    return match;
}

} // namespace UmoAgent
