#pragma once

#include "HelperKit/CallingHelper.h"
#include "HelperKit/Contents.h"
#include "Pelo/String.h"
#include "agent/chip/ChipTraffic.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>

namespace UmoAgent {

/// Sizes of the switch chip's tables.
struct ChipCapacity {
    std::uint32_t groups = 1024;
    std::uint32_t portSetsPerGroup = 4096;
};

/// A software switch chip that implements the library's chip interface: tables of limited size. A
/// full table refuses a call with 0, as on a real chip. A call that breaks the interface's contract
/// changes nothing; UmoHelper::CheckedHelper tells of it.
///
/// Identifiers of groups and of port sets each count up from 1 and are never reused, so the use of
/// a deleted one always shows.
class SoftSwitch final : public UmoHelper::CallingHelper {
  public:
    /// Receives a line of text, without a newline.
    using LineSink = std::function<void(std::string const &line)>;

    explicit SoftSwitch(ChipCapacity capacity);

    /// Changes the sizes of the tables. Below what is in use, only new entries are refused.
    void capacityIs(ChipCapacity capacity) { capacity_ = capacity; }
    [[nodiscard]] ChipCapacity capacity() const { return capacity_; }

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

    [[nodiscard]] UmoHelper::Contents const &groups() const { return table_.contents(); }
    /// Counted by the forwarding of packets.
    [[nodiscard]] ChipTraffic &traffic() { return traffic_; }
    [[nodiscard]] ChipTraffic const &traffic() const { return traffic_; }
    [[nodiscard]] std::size_t groupsInUse() const { return groups().size(); }
    /// Of groups and of port sets.
    [[nodiscard]] std::uint64_t refusals() const { return refusals_; }

  private:
    using Call = UmoHelper::Call;

    Call::Result called(Call const &call) override;
    std::uint32_t createGroup(Call const &call);
    void deleteGroup(Call const &call);
    std::uint32_t updatePortSet(Call const &call);
    void deletePortSet(Call const &call);
    void changed(UmoHelper::Group const &group) const;

    ChipCapacity capacity_;
    LineSink fullGroupLog_;
    OwnerSink changeSink_;
    UmoHelper::ContentsTable table_;
    ChipTraffic traffic_;
    std::uint32_t lastGroupId_ = 0;
    std::uint32_t lastPortSetId_ = 0;
    std::uint32_t refuseGroups_ = 0;
    std::uint64_t refusals_ = 0;
};

} // namespace UmoAgent
