#pragma once

#include "agent/switch/ForwardingAgent.h"
#include "sim/Oracle.h"
#include "sim/Plain.h"

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

class UmoNatFlowActionSm;
class UmoNatFlowMatchSm;

namespace Sim {

/// Checks after each event that the NAT library, its tree and the chip agree with each other and
/// with the inputs. Throws Broken if they do not. Uses only what the agent exposes.
///
/// These documented behaviours are not faults:
///
///  - the half of a pair whose other half was refused stays in the chip;
///  - an action that is removed while incomplete leaves its entry in the tree (`leftOver_`), and
///    what it programmed;
///  - an incomplete action gains or loses its destination without a notification (checkMatch);
///  - the removal of a policy strands the waiting matches (`stranded_`);
///  - a unicast port set without any destination need not have a destination translation
///    (checkPortSet);
///  - some changes do not notify the actions that depend on them (changesSilently, and `inDoubt`);
///  - an action of a waiting match may have no port sets, or those of its previous flow type
///    (checkActions, checkSettled).
class Checker {
  public:
    explicit Checker(UmoAgent::ForwardingAgent const &agent) : agent_(agent) {}

    /// Notes a call of the chip, as the chip logs it.
    void called(std::string const &call);

    /// Checks the switch after it started with these rows.
    void started(UmoAgent::Changes const &initial);
    /// Checks it after an event.
    void changed(UmoAgent::Changes const &changes);
    /// Checks it after time has passed.
    void timePassed();

    /// Whether the copies of packets that hit these matches follow from the inputs alone: the
    /// matches hold their groups, and their actions are up to date.
    [[nodiscard]] bool upToDate(std::vector<MatchName> const &matches) const;
    [[nodiscard]] std::uint16_t recircVlan() const { return recirc_.vlan(); }

    /// The current inputs.
    [[nodiscard]] PlainSwitch const &inputs() const { return inputs_; }

  private:
    /// The current state of a complete action.
    struct Action {
        std::string name; // as messages name it
        PlainAction const &state;
        PlainMatch const &match;
        UmoNatFlowActionSm *machine;
        Ip::Nat::HwNatFlowActionStatus const &hw;
        bool holding; // its match holds groups
    };
    /// The translations of an action when it was last complete. If only a port differs from that,
    /// it is not programmed.
    struct Translations {
        std::size_t born;
        Nexo::IpAndPort source, destination;
        bool portDiffers;
    };
    /// What is known of a complete action since its last evaluation.
    struct Watch {
        std::size_t born;
        std::uint32_t version;
        Ip::Nat::NatFlowType type;
        PortSets ports;
        bool holding;
        bool inDoubt;
        bool queued;
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
    void noteTranslations(Action const &action);
    void checkSettled();

    UmoAgent::ForwardingAgent const &agent_;
    PlainSwitch inputs_;
    RecircOracle recirc_;
    std::map<std::string, std::set<std::string>> leftOver_; // actions by match
    bool freed_ = false;                                    // groups were freed in this event
    bool asked_ = false;                                    // groups were requested in this event
    std::set<UmoNatFlowMatchSm const *> inRetry_;
    std::set<UmoNatFlowMatchSm const *> stranded_;
    std::set<UmoNatFlowMatchSm *> waiting_;   // for groups, now
    std::set<UmoNatFlowActionSm *> machines_; // that exist now
    std::vector<Action> actions_;             // that exist now
    std::map<std::string, Watch> watches_;
    std::map<std::string, Translations> translations_;
    std::uint64_t explainable_ = 0; // actions whose explanation could have been checked
};

/// A match, as messages name it.
std::string nameOf(std::string const &policy, std::string const &match);

std::set<Nexo::IntfId> interfacesOf(Ip::Nat::NatFlowPortSet const &portSet);

/// Checks that the chip holds exactly what the tree records, and the groups of `halves`.
void checkChip(UmoAgent::SoftSwitch const &chip, Ip::Nat::HwNatFlowStatus const &tree,
               std::set<std::uint32_t> const &halves);

} // namespace Sim
