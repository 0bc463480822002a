#pragma once

#include "Mox/Attributes.h"
#include "Nexo/EthAddr.h"
#include "Nexo/IntfId.h"
#include "UmoNat/Export.h"

#include <cstdint>

class UmoNatFlowActionSm;

/// An entry of the topology machine's action index: the action machines whose port sets depend
/// on one interface, on one VLAN, or on where one host is; there is a class for each below. An
/// entry keeps no machine alive, and a machine is taken out of all entries before its end.
///
/// Each machine knows the entries it is in, so that it can be withdrawn at a cost that does not
/// grow with the index. The entries see to that, whoever changes them.
class UMONAT_API UmoNatflowActionSmEntry : public Mox::Entity {
  public:
    enum class Kind : std::uint8_t { intf, vlan, mac };

    static constexpr Pelo::KeyedAttribute<UmoNatFlowActionSm *> actionSmAttribute{"actionSm"};

    [[nodiscard]] Kind kind() const noexcept { return kind_; }
    [[nodiscard]] auto const &actionSm() const noexcept { return actionSm_; }
    /// REQUIRES: a live machine.
    void actionSmIs(UmoNatFlowActionSm *actionSm);
    void actionSmDel(UmoNatFlowActionSm *actionSm);
    void actionSmDelAll();

  protected:
    explicit UmoNatflowActionSmEntry(Kind kind) noexcept : kind_(kind) {}
    ~UmoNatflowActionSmEntry() override;

  private:
    void forgottenBy(Mox::Set<UmoNatFlowActionSm *> const &actionSms);

    Kind const kind_;
    Mox::Set<UmoNatFlowActionSm *> actionSm_;
};

class UMONAT_API UmoNatflowActionSmIntf final : public UmoNatflowActionSmEntry {
  public:
    static constexpr Kind kKind = Kind::intf;

    explicit UmoNatflowActionSmIntf(Nexo::IntfId intf)
        : UmoNatflowActionSmEntry(kKind), intf_(intf) {}
    ~UmoNatflowActionSmIntf() override;
    [[nodiscard]] Nexo::IntfId const &intf() const noexcept { return intf_; }
    [[nodiscard]] Nexo::IntfId const &key() const noexcept { return intf_; }

  private:
    Nexo::IntfId const intf_;
};

class UMONAT_API UmoNatflowActionSmVlan final : public UmoNatflowActionSmEntry {
  public:
    static constexpr Kind kKind = Kind::vlan;

    explicit UmoNatflowActionSmVlan(std::uint16_t vlan)
        : UmoNatflowActionSmEntry(kKind), vlan_(vlan) {}
    ~UmoNatflowActionSmVlan() override;
    [[nodiscard]] std::uint16_t const &vlan() const noexcept { return vlan_; }
    [[nodiscard]] std::uint16_t const &key() const noexcept { return vlan_; }

  private:
    std::uint16_t const vlan_;
};

class UMONAT_API UmoNatflowActionSmMac final : public UmoNatflowActionSmEntry {
  public:
    static constexpr Kind kKind = Kind::mac;

    explicit UmoNatflowActionSmMac(Nexo::EthAddr const &mac)
        : UmoNatflowActionSmEntry(kKind), mac_(mac) {}
    ~UmoNatflowActionSmMac() override;
    [[nodiscard]] Nexo::EthAddr const &mac() const noexcept { return mac_; }
    [[nodiscard]] Nexo::EthAddr const &key() const noexcept { return mac_; }

  private:
    Nexo::EthAddr const mac_;
};

/// Make an entry of that key without machines.
Mox::Ptr<UmoNatflowActionSmIntf> UmoNatflowActionSmIntfIs(Nexo::IntfId intf);
Mox::Ptr<UmoNatflowActionSmVlan> UmoNatflowActionSmVlanIs(std::uint16_t vlan);
Mox::Ptr<UmoNatflowActionSmMac> UmoNatflowActionSmMacIs(Nexo::EthAddr const &mac);

UMONAT_API Mox::Ptr<UmoNatflowActionSmIntf> umoNatflowActionSmIntfFactory(Nexo::IntfId intf);
UMONAT_API Mox::Ptr<UmoNatflowActionSmVlan> umoNatflowActionSmVlanFactory(std::uint16_t vlan);
UMONAT_API Mox::Ptr<UmoNatflowActionSmMac> umoNatflowActionSmMacFactory(Nexo::EthAddr const &mac);
