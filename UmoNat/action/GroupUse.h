#pragma once

#include "Ip/NatHwStatus.h"

#include <array>
#include <cstddef>
#include <cstdint>

/// One hardware group of a match as one of its actions uses it.
///
/// The first group carries the port sets of the action's own kind. The second group of a pair
/// carries them again, under their second identifier. An action without a destination splits its
/// copies instead: unicast in the first group, multicast in the second. It needs only one
/// identifier.
///
/// | flow type | first group, groupIdUc  | second group, groupIdMc   |
/// |-----------|-------------------------|---------------------------|
/// | unicast   | unicast by portSetId    | unicast by portSetId2     |
/// | multicast | multicast by portSetId  | multicast by portSetId2   |
/// | none      | unicast by portSetId    | multicast by portSetId    |
struct NatFlowGroupUse {
    std::uint32_t group; // 0 while the match holds none
    bool unicast;
    bool portSetId2;

    /// The port sets of the kind that this group carries.
    [[nodiscard]] auto const &portSets(Ip::Nat::NatFlowVlanPortSets &vps) const noexcept {
        return unicast ? vps.ucastPortSet() : vps.mcastPortSet();
    }
    [[nodiscard]] Mox::Ptr<Ip::Nat::NatFlowPortSet const>
    portSet(Ip::Nat::NatFlowVlanPortSets const &vps, std::uint16_t vlan) const {
        return unicast ? vps.ucastPortSet(vlan) : vps.mcastPortSet(vlan);
    }

    /// A port set's identifier in this group.
    [[nodiscard]] std::uint32_t identifier(Ip::Nat::NatFlowPortSet const &portSet) const noexcept {
        return portSetId2 ? portSet.portSetId2() : portSet.portSetId();
    }
    void identifierIs(Ip::Nat::NatFlowPortSet &portSet, std::uint32_t id) const {
        portSetId2 ? portSet.portSetId2Is(id) : portSet.portSetIdIs(id);
    }

    /// The kind's name in traces.
    [[nodiscard]] char const *kind() const noexcept { return unicast ? "ucast" : "mcast"; }
};

/// The groups that an action uses, in order: one, or two if its match wants a pair.
class NatFlowGroupUses {
  public:
    NatFlowGroupUses(Ip::Nat::HwNatFlowMatchStatus const &hwMatch, std::uint32_t groupNum,
                     Ip::Nat::NatFlowType flowType) noexcept
        : uses_{{{hwMatch.groupIdUc(), flowType != Ip::Nat::natFlowTypeMulticast, false},
                 {hwMatch.groupIdMc(), flowType == Ip::Nat::natFlowTypeUnicast,
                  flowType != Ip::Nat::natFlowTypeNone}}},
          count_(groupNum == 2 ? 2 : 1) {}

    [[nodiscard]] NatFlowGroupUse const *begin() const noexcept { return uses_.data(); }
    [[nodiscard]] NatFlowGroupUse const *end() const noexcept { return uses_.data() + count_; }

  private:
    std::array<NatFlowGroupUse, 2> uses_;
    std::size_t count_;
};
