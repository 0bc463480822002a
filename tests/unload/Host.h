#pragma once

#include "Agent/AgentCommandCallback.h"
#include "Bridging/Config.h"
#include "Bridging/Status.h"
#include "Bridging/Topology.h"
#include "Ip/IpStatus.h"
#include "Ip/NatHwStatus.h"
#include "Ip/NatStatus.h"
#include "UmoL3Intf/Table.h"

#include <vector>

/// What the program holds. All but the root and the callback outlives the library.
struct Host {
    Mox::Ptr<Ip::Nat::Status> nat = Mox::make<Ip::Nat::Status>();
    Mox::Ptr<Ip::Nat::HwNatFlowStatus> hw = Mox::make<Ip::Nat::HwNatFlowStatus>();
    Mox::Ptr<Bridging::Config> config = Mox::make<Bridging::Config>();
    Mox::Ptr<Bridging::Status> status = Mox::make<Bridging::Status>();
    Mox::Ptr<Bridging::VlanStatusDir> vlans = Mox::make<Bridging::VlanStatusDir>();
    Mox::Ptr<Bridging::Topology::Config> topologies = Mox::make<Bridging::Topology::Config>();
    Mox::Ptr<UmoL3Intf::Table> l3 = Mox::make<UmoL3Intf::Table>();
    Mox::Ptr<Ip::Status> ip = Mox::make<Ip::Status>();
    std::vector<Mox::Ptr<Ip::Nat::NatFlowPortSet const>> portSets; // that the helper kept
    Mox::Ptr<Mox::Entity> root; // holds the helper, whose base class is the library's
    Mox::Ptr<Agent::AgentCommandCallback> show;
};
