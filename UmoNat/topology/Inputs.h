#pragma once

#include "UmoNat/topology/NestedSm.h"

/// A wrapper reactor: follows the one collection of an input that the topology machine mirrors. For
/// a changed key it calls `kIs` if the input now has the entity, else `kDel`. A null input has no
/// wrapper. Unlike other reactors a wrapper scans nothing at its own start: its owner calls `load`
/// on all wrappers, in order, once every input is followed.
template <class Input, auto kAttribute, auto kIs, auto kDel>
class UmoNatFlowMcastTopologySm::Directory : public NestedSm<Input> {
  public:
    using NestedSm<Input>::NestedSm;

    void load() {
        for (auto const &[key, entity] : this->followed().children(kAttribute)) {
            (this->owner().*kIs)(entity);
        }
    }

  private:
    void dispatch(Pelo::ChangeOf<Input> const &change) override {
        auto const *const key = change.keyOf(kAttribute);
        if (key == nullptr) {
            return;
        }
        if (auto const entity = this->followed().child(kAttribute, *key)) {
            (this->owner().*kIs)(entity);
        } else {
            (this->owner().*kDel)(*key);
        }
    }
};

class UmoNatFlowMcastTopologySm::MoxBridgingConfig
    : public Directory<Bridging::Config, Bridging::Config::switchIntfConfigAttribute,
                       &UmoNatFlowMcastTopologySm::switchIntfConfigIs,
                       &UmoNatFlowMcastTopologySm::switchIntfConfigDel> {
    using Directory::Directory;
};

class UmoNatFlowMcastTopologySm::MoxVlanStatusDir
    : public Directory<Bridging::VlanStatusDir, Bridging::VlanStatusDir::vlanStatusAttribute,
                       &UmoNatFlowMcastTopologySm::vlanStatusIs,
                       &UmoNatFlowMcastTopologySm::vlanStatusDel> {
    using Directory::Directory;
};

class UmoNatFlowMcastTopologySm::MoxBridgingStatus
    : public Directory<Bridging::Status, Bridging::Status::fdbStatusAttribute,
                       &UmoNatFlowMcastTopologySm::fdbStatusIs,
                       &UmoNatFlowMcastTopologySm::fdbStatusDel> {
    using Directory::Directory;
};

class UmoNatFlowMcastTopologySm::MoxIpStatus
    : public Directory<Ip::Status, Ip::Status::ipIntfStatusAttribute,
                       &UmoNatFlowMcastTopologySm::ipIntfStatusIs,
                       &UmoNatFlowMcastTopologySm::ipIntfStatusDel> {
    using Directory::Directory;
};
