#pragma once

#include "Agent/AgentCommandCallback.h"
#include "Ip/NatHwStatus.h"
#include "Mox/Ptr.h"
#include "Pelo/String.h"
#include "UmoNat/Export.h"

#include <cstdint>

/// Answers "showNatFlowActionHw [POLICY]": prints the actions that have port sets in the hardware
/// status tree. The table has fixed columns and one line per port set and interface, sorted by
/// policy, match and action. An identifier of 0 means not programmed. Changes nothing.
class UMONAT_API UmoNatFlowMcastSmCliCallback : public Agent::AgentCommandCallback {
  public:
    /// `name` and `help` are those of the command. With a null tree the command prints nothing.
    UmoNatFlowMcastSmCliCallback(Pelo::String const &name, Pelo::String const &help,
                                 Mox::Ptr<Ip::Nat::HwNatFlowStatus> const &hwNatFlowStatus);

    [[nodiscard]] Mox::Ptr<Ip::Nat::HwNatFlowStatus> const &hwNatFlowStatus() const noexcept {
        return hwNatFlowStatus_;
    }

    /// Prints the table to the descriptor `socket`. Prints nothing if `command` does not contain
    /// "showNatFlowActionHw", if the policy is unknown, or if no action has port sets.
    void handleCommand(std::uint32_t socket, Pelo::String const &command) override;

    /// Prints the rows of one policy. Before the first action it prints the header, unless
    /// `headerPrinted`. Returns whether the header has been printed.
    bool showMcastNatFlowActionHw(std::uint32_t socket, Pelo::String const &policyName,
                                  bool headerPrinted) const;

    /// The next field of `command`: skips the character at `position` and the blanks after it, then
    /// takes the text up to the next blank. Moves `position` to the field's end. Empty if nothing
    /// is left.
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
