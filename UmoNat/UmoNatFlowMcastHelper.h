#pragma once

#include "Ip/NatPortSets.h"
#include "Mox/Entity.h"
#include "Mox/Ptr.h"
#include "Nexo/EthAddr.h"
#include "Nexo/IpAndPort.h"
#include "Pelo/String.h"
#include "UmoNat/Export.h"

#include <cstdint>

namespace UmoHelper {

/// The library's only access to the forwarding hardware. The agent derives a class for its switch
/// chip and passes one object to the root factory; all state machines share it. The defaults below
/// do nothing and refuse every group, so the library also runs without hardware.
///
/// A group holds port sets; their identifiers are unique within the group. A port set may have one
/// source and one destination translation. All calls come from the event loop's thread. A call
/// reports failure through its result only, and must not throw. A call must not change any input of
/// the library; make such changes after it has returned.
class UMONAT_API UmoNatFlowMcastHelper : public Mox::Entity {
  public:
    explicit UmoNatFlowMcastHelper(Pelo::String name);

    [[nodiscard]] Pelo::String nameString() const override;

    /// Allocates a group for a match: if `unicast`, the unicast group of a pair; else the multicast
    /// group of a pair, or a single group. Returns the group's id, or 0 if no group is free; the
    /// match then waits for freed groups. The match owns the group until it deletes it.
    virtual std::uint32_t createNatFlowGroup(Pelo::String const &policy, Pelo::String const &match,
                                             bool unicast);

    /// Frees a group and everything still in it. It is called at most once per group, with the
    /// names under which the group was created. `groupId` is never 0.
    virtual void deleteNatFlowGroup(Pelo::String const &policy, Pelo::String const &match,
                                    std::uint32_t groupId);

    /// Programs a port set: a new one if `portSetId` is 0, else a replacement of the interfaces and
    /// the MAC address of that one, which keeps its VLAN, its translations and its identifier.
    /// Returns the identifier, never 0. (The default returns 0, which is safe only because the
    /// default allocates no group.) A group may have several port sets of one VLAN: those of
    /// different actions. An interface without a name, which is then the only one, is recirculation
    /// through the switch itself. The MAC address 01:00:5e:00:00:00 stands for that of the copies'
    /// own multicast group. The helper may keep `ps`; the library sets the identifiers in it after
    /// the call, and changes it no more once a later one has replaced it.
    virtual std::uint32_t
    updateNatFlowVlanPortSet(std::uint32_t groupId, std::uint32_t portSetId,
                             Mox::Ptr<Ip::Nat::NatFlowPortSet const> const &ps);

    /// Deletes a port set. The caller deletes its translations right after it, under the same
    /// identifier.
    virtual void deleteNatFlowVlanPortSet(std::uint32_t groupId, std::uint32_t portSetId);

    /// Translates the source of copies that leave through a port set: source `srcFlow`, a prefix of
    /// `pfxLen` bits, becomes `srcNat`. Replaces the port set's source translation. Returns
    /// success, which the library does not check.
    virtual bool updateNatFlowSrcTranslation(std::uint32_t groupId, std::uint32_t portSetId,
                                             std::uint16_t vlan, Nexo::IpAndPort const &srcNat,
                                             Nexo::IpAndPort const &srcFlow, std::uint32_t pfxLen);

    virtual void deleteNatFlowSrcTranslation(std::uint32_t groupId, std::uint32_t portSetId);

    /// The same for the destination; `dmac` is the destination MAC of the copies. With a `dstNat`
    /// address of 0 the destination address stays unchanged and only `dmac` is written.
    virtual bool updateNatFlowDstTranslation(std::uint32_t groupId, std::uint32_t portSetId,
                                             std::uint16_t vlan, Nexo::IpAndPort const &dstNat,
                                             Nexo::IpAndPort const &dstFlow, std::uint32_t pfxLen,
                                             Nexo::EthAddr const &dmac);

    virtual void deleteNatFlowDstTranslation(std::uint32_t groupId, std::uint32_t portSetId);

  protected:
    ~UmoNatFlowMcastHelper() override;

  private:
    Pelo::String name_;
};

} // namespace UmoHelper
