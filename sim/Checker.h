#pragma once

#include "agent/switch/ForwardingAgent.h"
#include "sim/Oracle.h"
#include "sim/Plain.h"

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

class UmoNatFlowActionSm;
class UmoNatFlowMatchSm;

namespace Sim {

/// Looks after each event whether the NAT library, its tree and the chip agree with each other
/// and with the inputs. Throws Broken where they do not. Sees only what the agent shows.
///
/// What is no fault is told apart by these, each a documented behaviour:
///
///  - the half of a pair whose other half was refused stays in the chip (`halves_`);
///  - an action that ends incomplete leaves its entry in the tree (`leftOver_`), and what it
///    programmed;
///  - nobody hears that an incomplete action gains or loses its destination (checkMatch);
///  - the end of a policy strands the waiting matches (`stranded_`);
///  - a unicast port set without any destination need have no destination translation
///    (checkPortSet);
///  - actions do not hear of some changes until they are evaluated anew (changesSilently, and
///    `inDoubt`);
///  - an action of a waiting match may have no port sets, or those of its flow type before
///    (checkActions, checkSettled).
class Checker {
  public:
    explicit Checker(UmoAgent::ForwardingAgent const &agent) : agent_(agent) {}

    /// A call of the chip, as the chip logs it.
    void called(std::string const &call);

    /// The switch has come up with these rows.
    void started(UmoAgent::Changes const &initial);
    /// An event has changed it.
    void changed(UmoAgent::Changes const &changes);
    /// Time has passed.
    void timePassed();

    /// The inputs as they are now.
    [[nodiscard]] PlainSwitch const &inputs() const { return inputs_; }
    [[nodiscard]] std::set<std::uint32_t> const &halves() const { return halves_; }

  private:
    /// A complete action as it is now.
    struct Action {
        std::string name; // as faults tell it
        PlainAction const &state;
        PlainMatch const &match;
        UmoNatFlowActionSm *machine;
        Ip::Nat::HwNatFlowActionStatus const &hw;
        bool holding; // its match holds groups
    };
    /// What is known of a complete action since its last evaluation.
    struct Watch {
        std::size_t born;
        std::uint32_t version;
        Ip::Nat::NatFlowType type;
        PortSets ports;
        bool holding;
        bool inDoubt;
    };

    [[nodiscard]] UmoNatFlowMcastTopologySm const &topology() const {
        return *agent_.root().topologySm();
    }

    bool noteEnds(PlainSwitch const &before);
    void checkState(bool policyEnded);
    void checkMatch(std::string const &where, PlainMatch const &state, UmoNatFlowMatchSm &machine,
                    Ip::Nat::HwNatFlowMatchStatus const &hw);
    void checkWaiting(bool policyEnded);
    void checkMachines() const;
    void checkActions(PlainSwitch const &before);
    void checkSettled();

    UmoAgent::ForwardingAgent const &agent_;
    PlainSwitch inputs_;
    RecircOracle recirc_;
    std::optional<std::uint32_t> unicastHalf_; // what the chip answered to the first of a pair
    std::set<std::uint32_t> halves_;
    std::map<std::string, std::set<std::string>> leftOver_; // actions by match
    bool freed_ = false;                                    // groups, in this event
    bool asked_ = false;                                    // for groups, in this event
    std::set<UmoNatFlowMatchSm const *> inRetry_;
    std::set<UmoNatFlowMatchSm const *> stranded_;
    std::set<UmoNatFlowMatchSm *> waiting_;   // now, for groups
    std::set<UmoNatFlowActionSm *> machines_; // that live now
    std::vector<Action> actions_;             // now
    std::map<std::string, Watch> watches_;
};

std::set<Nexo::IntfId> interfacesOf(Ip::Nat::NatFlowPortSet const &portSet);

/// The chip holds exactly what the tree says, and the groups of `halves` besides.
void checkChip(UmoAgent::SoftSwitch const &chip, Ip::Nat::HwNatFlowStatus const &tree,
               std::set<std::uint32_t> const &halves);

} // namespace Sim
