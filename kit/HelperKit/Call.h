#pragma once

#include "Ip/NatPortSets.h"
#include "Mox/Ptr.h"
#include "Nexo/EthAddr.h"
#include "Nexo/IpAndPort.h"
#include "Pelo/String.h"
#include "UmoNat/UmoNatFlowMcastHelper.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <variant>

namespace UmoHelper {

enum class Operation : std::uint8_t {
    createGroup,
    deleteGroup,
    updatePortSet,
    deletePortSet,
    updateSource,
    deleteSource,
    updateDestination,
    deleteDestination,
};
inline constexpr std::size_t kOperations = 8;

/// Of an IPv4 address, in bits.
inline constexpr std::uint32_t kMaxPrefixLength = 32;

/// The helper's function for each operation, in order.
std::array<std::string_view, kOperations> const &operationNames();

/// One call of a helper, to be told, kept or repeated. Which members mean something depends on the
/// operation.
struct Call {
    /// What a call returned: an id, success, or nothing.
    using Result = std::variant<std::monostate, std::uint32_t, bool>;

    Operation operation = Operation::createGroup;
    Pelo::String policy{}; // of a group that is made or deleted
    Pelo::String match{};
    bool unicast = false; // of a group that is made
    std::uint32_t group = 0;
    std::uint32_t portSet = 0;
    Mox::Ptr<Ip::Nat::NatFlowPortSet const> ps{}; // to program
    std::uint16_t vlan = 0;                       // of a translation, like the rest
    Nexo::IpAndPort nat{};
    Nexo::IpAndPort flow{};
    std::uint32_t prefixLength = 0;
    Nexo::EthAddr dmac{}; // of a destination

    /// Calls the helper so.
    Result on(UmoNatFlowMcastHelper &helper) const;

    /// `deleteNatFlowGroup(policy p, match m, group 1)`. Names are as they are, whatever is in
    /// them.
    [[nodiscard]] std::string text() const;
};

/// ` -> 7`, ` -> true`; nothing for nothing.
std::string textOf(Call::Result const &result);

} // namespace UmoHelper
