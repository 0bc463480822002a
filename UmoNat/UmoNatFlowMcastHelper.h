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

/// The only way to the forwarding hardware. The agent derives a class for its switch chip and
/// passes one object of it to the root factory; all state machines share it. The defaults below
/// do nothing and refuse every group, so that the library also runs without hardware.
///
/// A group holds port sets, identified within the group; a port set may have one source and one
/// destination translation. All calls come from the event loop's thread. Failure is reported
/// through the results alone: nothing may be thrown. No call may change what the library
/// follows; such changes are made when the call has returned.
class UMONAT_API UmoNatFlowMcastHelper : public Mox::Entity {
  public:
    explicit UmoNatFlowMcastHelper(Pelo::String name);

    [[nodiscard]] Pelo::String nameString() const override;

    /// Allocates a group for a match: if `unicast`, the unicast group of a match that has two;
    /// else its multicast group, or its only one. Returns the group's id, which belongs to the
    /// match until it deletes the group, or 0 when no group is free; the match then tries again
    /// later.
    virtual std::uint32_t createNatFlowGroup(Pelo::String const &policy, Pelo::String const &match,
                                             bool unicast);

    /// Frees a group, once, under the names with which it was created, and everything that is
    /// still in it. `groupId` is never 0.
    virtual void deleteNatFlowGroup(Pelo::String const &policy, Pelo::String const &match,
                                    std::uint32_t groupId);

    /// Programs a port set: a new one if `portSetId` is 0, else in place of that one. Returns its
    /// identifier from now on, never 0. (The default returns 0, which is safe only because the
    /// default hands out no group.) The helper may keep `ps`, which no longer changes once a later
    /// one has replaced it.
    virtual std::uint32_t
    updateNatFlowVlanPortSet(std::uint32_t groupId, std::uint32_t portSetId,
                             Mox::Ptr<Ip::Nat::NatFlowPortSet const> const &ps);

    /// Deletes a port set. The caller deletes its translations right after it, under the same
    /// identifier.
    virtual void deleteNatFlowVlanPortSet(std::uint32_t groupId, std::uint32_t portSetId);

    /// Translates the source of copies that leave through a port set: those from `srcFlow`, within
    /// a prefix of `pfxLen` bits, are sent as from `srcNat`. Replaces the port set's source
    /// translation. Returns success, which the library does not check.
    virtual bool updateNatFlowSrcTranslation(std::uint32_t groupId, std::uint32_t portSetId,
                                             std::uint16_t vlan, Nexo::IpAndPort const &srcNat,
                                             Nexo::IpAndPort const &srcFlow, std::uint32_t pfxLen);

    virtual void deleteNatFlowSrcTranslation(std::uint32_t groupId, std::uint32_t portSetId);

    /// The same for the destination; `dmac` is the destination MAC of the copies. With a
    /// `dstNat` address of 0 the destination address stays as it is and only `dmac` is written.
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
