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
/// passes one object of it to the root factory, where all state machines share it; the defaults
/// below do nothing and refuse every group, so that the library also runs with no hardware behind
/// it.
///
/// A group holds port sets, identified within the group; a port set may have one source and one
/// destination translation. All calls come from the event loop's thread. Failure is reported
/// through the results alone: nothing may be thrown. No call may change what the library
/// follows; such changes are made when the call has returned.
class UMONAT_API UmoNatFlowMcastHelper : public Mox::Entity {
  public:
    explicit UmoNatFlowMcastHelper(Pelo::String name);

    [[nodiscard]] Pelo::String nameString() const override;

    /// Allocates a group for a match: the unicast group of a match that has two if `unicast`,
    /// its multicast group or the only one if not. Returns the group's id, which is the match's
    /// until it deletes the group, or 0 when there is no free group; the match then tries again
    /// later.
    virtual std::uint32_t createNatFlowGroup(Pelo::String const &policy, Pelo::String const &match,
                                             bool unicast);

    /// Frees a group, once, under the names with which it was created, and with it all that is
    /// still in it. `groupId` is never 0.
    virtual void deleteNatFlowGroup(Pelo::String const &policy, Pelo::String const &match,
                                    std::uint32_t groupId);

    /// Programs a port set: a new one if `portSetId` is 0, else in the place of that one. Returns
    /// the identifier it has from now on, never 0 (the default's 0 is right only where no group is
    /// handed out). `ps` may be kept; it does not change once it
    /// has been replaced by a later one.
    virtual std::uint32_t
    updateNatFlowVlanPortSet(std::uint32_t groupId, std::uint32_t portSetId,
                             Mox::Ptr<Ip::Nat::NatFlowPortSet const> const &ps);

    /// Deletes a port set. Its translations are deleted right after it, under the same
    /// identifier, by those who programmed them.
    virtual void deleteNatFlowVlanPortSet(std::uint32_t groupId, std::uint32_t portSetId);

    /// Has copies that leave through a port set, and whose source is `srcFlow` within a prefix of
    /// `pfxLen` bits, sent as from `srcNat`. Replaces what the port set had. Returns success,
    /// which the library does not look at.
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
