#pragma once

#include "Agent/AgentCommandCallback.h"
#include "Ip/NatHwStatus.h"
#include "Mox/Ptr.h"
#include "Pelo/String.h"
#include "UmoNat/Export.h"

#include <cstdint>

/// Answers "showNatFlowActionHw [POLICY]": prints every action that is programmed in hardware as
/// a table with fixed columns, a line for each VLAN and interface, sorted by policy, match and
/// action. Reads the hardware status tree and changes nothing.
class UMONAT_API UmoNatFlowMcastSmCliCallback : public Agent::AgentCommandCallback {
  public:
    /// `name` and `help` are the command's, for the agent. Without a tree the command prints
    /// nothing.
    UmoNatFlowMcastSmCliCallback(Pelo::String const &name, Pelo::String const &help,
                                 Mox::Ptr<Ip::Nat::HwNatFlowStatus> const &hwNatFlowStatus);

    [[nodiscard]] Mox::Ptr<Ip::Nat::HwNatFlowStatus> const &hwNatFlowStatus() const noexcept {
        return hwNatFlowStatus_;
    }

    /// Prints the table to the descriptor `socket`. Nothing is printed for a command that does
    /// not contain the command's name, for an unknown policy, or when nothing is programmed.
    void handleCommand(std::uint32_t socket, Pelo::String const &command) override;

    /// Prints the rows of one policy, above the first action the header unless `headerPrinted`.
    /// Returns whether the header has been printed by now.
    bool showMcastNatFlowActionHw(std::uint32_t socket, Pelo::String const &policyName,
                                  bool headerPrinted) const;

    /// The next field of `command`: skips the character at `position` and the blanks behind it,
    /// and takes what stands before the next blank. Moves `position` to the field's end. Empty
    /// when nothing is left.
    [[nodiscard]] Pelo::String nextFieldS(Pelo::String const &command,
                                          std::uint32_t &position) const;

  protected:
    ~UmoNatFlowMcastSmCliCallback() override;

  private:
    Mox::Ptr<Ip::Nat::HwNatFlowStatus> hwNatFlowStatus_;
};

UMONAT_API Mox::Ptr<UmoNatFlowMcastSmCliCallback>
umoNatFlowMcastSmCliCallbackFactory(Pelo::String const &name, Pelo::String const &help,
                                    Mox::Ptr<Ip::Nat::HwNatFlowStatus> const &hwNatFlowStatus);
