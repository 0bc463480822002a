#pragma once

#include "Mox/Attributes.h"
#include "Nexo/EthAddr.h"
#include "Nexo/IntfId.h"
#include "UmoNat/Export.h"

#include <cstddef>
#include <cstdint>
#include <vector>

class UmoNatFlowActionSm;
class UmoNatflowActionSmEntry;

/// The index entries that one action machine is in. Each machine has one of these, so that its
/// withdrawal costs the same however large the index is. The entries maintain it.
class UmoNatflowActionSmEntries {
  public:
    [[nodiscard]] auto begin() const noexcept { return entries_.begin(); }
    [[nodiscard]] auto end() const noexcept { return entries_.end(); }

  private:
    friend class UmoNatflowActionSmEntry;

    Mox::Set<UmoNatflowActionSmEntry *> entries_;
};

/// An entry of the action index: the action machines whose port sets depend on one interface, on
/// one VLAN, or on where one host is; there is a class for each below. An entry keeps no machine
/// alive, and a machine leaves all entries before it is destroyed.
class UMONAT_API UmoNatflowActionSmEntry : public Mox::Entity {
    MOX_PUBLISHES_KEYS(UmoNatFlowActionSm *, actionSm)

  public:
    enum class Kind : std::uint8_t { intf, vlan, mac };

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

/// The index from what port sets depend on to the action machines that depend on it, owned by the
/// topology machine. An entry exists while it has machines. The index keeps no machine alive;
/// adding and withdrawing notify no machine.
class UMONAT_API UmoNatflowActionSmIndex final : public Mox::Entity {
    MOX_CHILDREN(Nexo::IntfId, UmoNatflowActionSmIntf, actionIntf)
    MOX_CHILDREN(std::uint16_t, UmoNatflowActionSmVlan, actionVlan)
    MOX_CHILDREN(Nexo::EthAddr, UmoNatflowActionSmMac, actionMac)
    MOX_SET(UmoNatFlowActionSm *, actionRecirc) // those that use the recirculation VLAN

  public:
    ~UmoNatflowActionSmIndex() override;

    void addActionSmIntf(Nexo::IntfId intf, UmoNatFlowActionSm *actionSm);
    void addActionSmVlan(std::uint16_t vlan, UmoNatFlowActionSm *actionSm);
    void addActionSmMac(Nexo::EthAddr const &mac, UmoNatFlowActionSm *actionSm);
    void addActionSmRecirc(UmoNatFlowActionSm *actionSm);

    /// Withdraws the machine from the whole index.
    void delActionSm(UmoNatFlowActionSm *actionSm);

    /// The same for a machine that ends, without a trace.
    void actionSmGone(UmoNatFlowActionSm *actionSm);

    /// Withdraws all machines.
    void clear();

  private:
    template <class Entries, class Key, class Publish>
    Mox::Ptr<typename Entries::Value::Object> entryIs(Entries &entries, Key const &key,
                                                      Publish const &publish);
    [[nodiscard]] bool indexed(UmoNatflowActionSmEntry &entry) const noexcept;
    template <class Entries, class Publish>
    void removeEmptied(Entries &entries, char const *removed, Publish const &publish);
    void withdraw(UmoNatFlowActionSm *actionSm, bool traced);

    /// The entries that the last withdrawal emptied. An evaluation withdraws its action and then
    /// registers it mostly as before: it reuses these instead of allocating.
    std::vector<Mox::Ptr<UmoNatflowActionSmEntry>> emptied_;
    std::size_t nextEmptied_ = 0;
};

/// Make an entry of that key without machines.
Mox::Ptr<UmoNatflowActionSmIntf> UmoNatflowActionSmIntfIs(Nexo::IntfId intf);
Mox::Ptr<UmoNatflowActionSmVlan> UmoNatflowActionSmVlanIs(std::uint16_t vlan);
Mox::Ptr<UmoNatflowActionSmMac> UmoNatflowActionSmMacIs(Nexo::EthAddr const &mac);

UMONAT_API Mox::Ptr<UmoNatflowActionSmIntf> umoNatflowActionSmIntfFactory(Nexo::IntfId intf);
UMONAT_API Mox::Ptr<UmoNatflowActionSmVlan> umoNatflowActionSmVlanFactory(std::uint16_t vlan);
UMONAT_API Mox::Ptr<UmoNatflowActionSmMac> umoNatflowActionSmMacFactory(Nexo::EthAddr const &mac);
