#pragma once

#include "agent/ScenarioModel.h"
#include "sim/Random.h"

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <map>
#include <string>

namespace Sim {

/// Makes the scenario of a seed: a small switch, so that names meet again all the time, and an
/// endless stream of events to it, as texts that umo-agent plays. Every text is valid on the
/// state that it is made for.
class Generator {
  public:
    /// With `faults`, the chip's capacity comes and goes, and it refuses groups.
    Generator(std::uint64_t seed, bool faults) : random_(seed), faults_(faults) {}

    /// The state of the switch at the beginning, as the keys of a scenario.
    std::string initial();

    /// The next event, one line, on the state `now` and with `groupsInUse` groups in the chip.
    /// Every now and then one that only has all complete actions evaluated anew.
    std::string event(UmoAgent::SwitchModel const &now, std::size_t groupsInUse);

  private:
    using Text = std::string;
    using Model = UmoAgent::SwitchModel;
    using Texts = std::map<Text, Text>; // by key of a state
    struct Change {
        Texts remove;
        Texts set;
    };

    Text time();
    Change change(Model const &now);
    Change flap(Model const &now);
    Change evaluateAll(Model const &now) const;

    // Of one key of a state each.
    void bridgeMac(Model const &now, Change &change);
    void chip(Model const &now, Change &change);
    void interfaces(Model const &now, Change &change);
    void vlans(Model const &now, Change &change);
    void topologies(Model const &now, Change &change);
    void learnedMacs(Model const &now, Change &change);
    void ipInterfaces(Model const &now, Change &change);
    void l3Interfaces(Model const &now, Change &change);
    void policies(Model const &now, Change &change);
    template <class SetText>
    void offer(Change &change, char const *key, Text const &remove, unsigned again,
               SetText const &set);

    void removePart(Text const &policy, Text const &match, UmoAgent::MatchState const &state,
                    Change &change);
    Text changedAction(UmoAgent::ActionState const &state);

    Text ports();
    Text portStates();
    Text interfaceSettings();
    Text ipSettings();
    Text policy();
    Text match();
    Text flow();
    Text newAction();
    Text egress(bool withMacs);
    Text word(std::initializer_list<char const *> words) { return random_.pick(words); }
    Text vlan();
    Text port();
    Text mac();

    Random random_;
    bool faults_;
    std::uint64_t now_ = 0; // in milliseconds
    std::size_t events_ = 0;
    std::size_t groupsInUse_ = 0;
    std::size_t burst_ = 0; // events left of it, all at one time
    std::size_t flaps_ = 0; // of one port, at short intervals
    Text flappingTopology_;
    Text flappingPort_;
};

} // namespace Sim
