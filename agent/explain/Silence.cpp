#include "agent/explain/Silence.h"

#include "UmoNat/UmoNatFlowMatchSm.h"
#include "UmoNat/UmoNatFlowPolicySm.h"
#include "agent/base/Text.h"
#include "agent/explain/Explanation.h"
#include "agent/show/Printers.h"

#include <cstddef>
#include <ostream>
#include <string>

namespace UmoAgent {

namespace {

/// Prints the warnings. Its end prints how many there were beyond those that it printed.
class Warnings {
  public:
    Warnings(std::ostream &out, ForwardingAgent const &agent) : out_(out), agent_(agent) {}
    ~Warnings() {
        if (count_ > kPrinted) {
            out_ << "warning: "
                 << counted(count_ - kPrinted, "more action sends", "more actions send")
                 << " nothing\n";
        }
        out_.flush();
    }
    Warnings(Warnings const &) = delete;
    Warnings &operator=(Warnings const &) = delete;

    void look(UmoNatFlowMatchSm &match, UmoNatFlowActionSm &action) {
        auto const &hw = action.hwActionStatus();
        if ((hw && sendsCopies(*hw)) || ++count_ > kPrinted) {
            return;
        }
        out_ << "warning: policy " << printable(action.policy()) << ", match "
             << printable(action.match()) << ", action " << printable(action.action())
             << " sends nothing: " << firstReason(agent_, match, action) << '\n';
    }

  private:
    static constexpr std::size_t kPrinted = 20;

    std::ostream &out_;
    ForwardingAgent const &agent_;
    std::size_t count_ = 0;
};

} // namespace

void warnOfSilence(std::ostream &out, ForwardingAgent const &agent) {
    Warnings warnings(out, agent);
    for (auto const &[policyName, policy] : agent.root().policySm()) {
        for (auto const &[matchName, match] : policy->matchSm()) {
            for (auto const &[name, action] : match->actionSm()) {
                warnings.look(*match, *action);
            }
        }
    }
}

void warnOfSilence(std::ostream &out, ForwardingAgent const &agent,
                   std::set<Table::Action::Key> const &actions) {
    Warnings warnings(out, agent);
    for (Table::Action::Key const &key : actions) {
        auto const *const policy = agent.root().policySm().find(key.policy);
        auto const *const match = policy ? (*policy)->matchSm().find(key.match) : nullptr;
        auto const *const action = match ? (*match)->actionSm().find(key.action) : nullptr;
        if (action != nullptr) {
            warnings.look(**match, **action);
        }
    }
}

} // namespace UmoAgent
