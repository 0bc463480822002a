#pragma once

#include "Nexo/EthAddr.h"
#include "Nexo/IntfId.h"
#include "Nexo/IpAndPort.h"
#include "Pelo/String.h"
#include "UmoNat/UmoNatFlowMcastHelper.h"
#include "agent/chip/ChipTraffic.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <numeric>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace UmoAgent {

/// Sizes of the switch chip's tables.
struct ChipCapacity {
    std::uint32_t groups = 1024;
    std::uint32_t portSetsPerGroup = 4096;
};

/// A software switch chip that implements the library's chip interface: tables of limited size, and
/// strict checks of the interface's contract. A call that breaks the contract changes nothing; it
/// is counted and reported. A full table is not a contract error: the call is refused with 0, as on
/// a real chip.
///
/// Identifiers of groups and of port sets each count up from 1 and are never reused, so the use of
/// a deleted one always shows.
class SoftSwitch final : public UmoHelper::UmoNatFlowMcastHelper {
  public:
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
    static constexpr std::size_t kOperations = 8;

    /// The operations' names, in order.
    static std::array<std::string_view, kOperations> const &operationNames();

    struct Translation {
        Nexo::IpAndPort nat;  // written into the copies
        Nexo::IpAndPort flow; // matched within prefixLength bits
        std::uint32_t prefixLength = 0;
        Nexo::EthAddr dmac{}; // of a destination translation

        bool operator==(Translation const &) const = default;
    };
    /// A port set as last programmed, its interfaces in order.
    struct PortSet {
        std::uint16_t vlan = 0;
        std::vector<Nexo::IntfId> interfaces;
        Nexo::EthAddr dmac{};
        std::optional<Translation> source;
        std::optional<Translation> destination;

        /// The destination MAC address of unicast copies. A next hop's new one is programmed with
        /// the translation only.
        [[nodiscard]] Nexo::EthAddr nextHopMac() const {
            return destination ? destination->dmac : dmac;
        }
    };
    struct Group {
        Pelo::String policy; // the owner
        Pelo::String match;
        bool unicast = false;
        std::map<std::uint32_t, PortSet> portSets; // by identifier
    };

    /// Receives the texts of calls or of contract errors, one line each, without a newline.
    using LineSink = std::function<void(std::string const &line)>;

    /// `errors` receives each contract error: the call with its arguments, and what was wrong.
    SoftSwitch(ChipCapacity capacity, LineSink errors);

    /// Changes the sizes of the tables. Below what is in use, only new entries are refused.
    void capacityIs(ChipCapacity capacity) { capacity_ = capacity; }
    [[nodiscard]] ChipCapacity capacity() const { return capacity_; }

    /// Writes every call with its result to `log` as it happens; an empty `log` ends that.
    void callLogIs(LineSink log) { callLog_ = std::move(log); }

    /// Reports each port set that is refused because its group is full to `log`; an empty `log`
    /// ends that. The report comes before the refusal, which may stop the NAT library.
    void fullGroupLogIs(LineSink log) { fullGroupLog_ = std::move(log); }

    /// Receives the names of a group's owner.
    using OwnerSink = std::function<void(Pelo::String const &policy, Pelo::String const &match)>;

    /// Tells `sink` of each group that was made or deleted, or in which anything was changed. It
    /// must not call back.
    void changeSinkIs(OwnerSink sink) { changeSink_ = std::move(sink); }

    /// Refuses the next `count` group creations, even if there is room.
    void refuseGroups(std::uint32_t count) { refuseGroups_ = count; }

    [[nodiscard]] std::map<std::uint32_t, Group> const &groups() const { return groups_; }
    /// Counted by the forwarding of packets.
    [[nodiscard]] ChipTraffic &traffic() { return traffic_; }
    [[nodiscard]] ChipTraffic const &traffic() const { return traffic_; }
    [[nodiscard]] std::size_t groupsInUse() const { return groups_.size(); }
    [[nodiscard]] std::uint64_t contractErrors() const { return contractErrors_; }
    [[nodiscard]] std::uint64_t refusals() const { return refusals_; }
    [[nodiscard]] std::uint64_t calls(Operation operation) const {
        return calls_.at(static_cast<std::size_t>(operation));
    }
    /// How often any operation was called.
    [[nodiscard]] std::uint64_t allCalls() const {
        return std::accumulate(calls_.begin(), calls_.end(), std::uint64_t{0});
    }

    std::uint32_t createNatFlowGroup(Pelo::String const &policy, Pelo::String const &match,
                                     bool unicast) override;
    void deleteNatFlowGroup(Pelo::String const &policy, Pelo::String const &match,
                            std::uint32_t groupId) override;
    std::uint32_t
    updateNatFlowVlanPortSet(std::uint32_t groupId, std::uint32_t portSetId,
                             Mox::Ptr<Ip::Nat::NatFlowPortSet const> const &ps) override;
    void deleteNatFlowVlanPortSet(std::uint32_t groupId, std::uint32_t portSetId) override;
    bool updateNatFlowSrcTranslation(std::uint32_t groupId, std::uint32_t portSetId,
                                     std::uint16_t vlan, Nexo::IpAndPort const &srcNat,
                                     Nexo::IpAndPort const &srcFlow, std::uint32_t pfxLen) override;
    void deleteNatFlowSrcTranslation(std::uint32_t groupId, std::uint32_t portSetId) override;
    bool updateNatFlowDstTranslation(std::uint32_t groupId, std::uint32_t portSetId,
                                     std::uint16_t vlan, Nexo::IpAndPort const &dstNat,
                                     Nexo::IpAndPort const &dstFlow, std::uint32_t pfxLen,
                                     Nexo::EthAddr const &dmac) override;
    void deleteNatFlowDstTranslation(std::uint32_t groupId, std::uint32_t portSetId) override;

  private:
    class Call;
    using Identity = std::pair<std::uint32_t, std::uint32_t>; // group, port set

    void fail(Call const &call, std::string const &problem);
    void changed(Group const &group) const;
    Group *groupOf(Call const &call, std::uint32_t groupId);
    PortSet *portSetOf(Call const &call, std::uint32_t groupId, std::uint32_t portSetId);
    bool updateTranslation(Call const &call, Identity identity, std::uint16_t vlan,
                           std::optional<Translation> PortSet::*which,
                           Translation const &translation);
    void deleteTranslation(Call const &call, Identity identity,
                           std::optional<Translation> PortSet::*which);

    ChipCapacity capacity_;
    LineSink errors_;
    LineSink callLog_;
    LineSink fullGroupLog_;
    OwnerSink changeSink_;
    std::map<std::uint32_t, Group> groups_;
    ChipTraffic traffic_;
    std::uint32_t lastGroupId_ = 0;
    std::uint32_t lastPortSetId_ = 0;
    Identity justDeleted_{}; // whose translations may still be deleted
    std::uint32_t refuseGroups_ = 0;
    std::uint64_t refusals_ = 0;
    std::uint64_t contractErrors_ = 0;
    std::array<std::uint64_t, kOperations> calls_{};
};

} // namespace UmoAgent
