#pragma once

#include "UmoNat/UmoNatFlowMcastTopologySmNested.h"

/// The wrapper reactors: each follows the one collection of an input that the topology machine
/// mirrors, and has it make or remove the nested reactor of every entity that comes or goes. A
/// wrapper exists only for an input that is there. Unlike other reactors a wrapper scans nothing
/// at its own start: its owner has all of them load, in order, once every input is followed.
class UmoNatFlowMcastTopologySm::MoxBridgingConfig : public NestedSm<Bridging::Config> {
  public:
    using NestedSm::NestedSm;
    void load();

  private:
    void dispatch(Pelo::Change const &change) override;
};

class UmoNatFlowMcastTopologySm::MoxVlanStatusDir : public NestedSm<Bridging::VlanStatusDir> {
  public:
    using NestedSm::NestedSm;
    void load();

  private:
    void dispatch(Pelo::Change const &change) override;
};

class UmoNatFlowMcastTopologySm::MoxBridgingStatus : public NestedSm<Bridging::Status> {
  public:
    using NestedSm::NestedSm;
    void load();

  private:
    void dispatch(Pelo::Change const &change) override;
};

class UmoNatFlowMcastTopologySm::MoxIpStatus : public NestedSm<Ip::Status> {
  public:
    using NestedSm::NestedSm;
    void load();

  private:
    void dispatch(Pelo::Change const &change) override;
};
