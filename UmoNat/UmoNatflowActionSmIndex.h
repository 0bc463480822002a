#pragma once

#include "Mox/Attributes.h"
#include "Mox/MemberList.h"
#include "Mox/detail/DenseTable.h"
#include "Mox/detail/Walk.h"
#include "Nexo/EthAddr.h"
#include "Nexo/IntfId.h"
#include "UmoNat/Export.h"

#include <cstddef>
#include <cstdint>
#include <vector>

class UmoNatFlowActionSm;
class UmoNatflowActionSmEntry;

/// The action machines that an entry of the action index lists.
using UmoNatflowActionSmList = Mox::MemberList<UmoNatflowActionSmEntry, UmoNatFlowActionSm>;

/// The index entries that list one action machine. Each machine has one of these, so that the cost
/// of withdrawing it does not depend on the size of the index. The entries maintain it.
class UmoNatflowActionSmEntries {
    using Membership = Mox::Membership<UmoNatflowActionSmEntry, UmoNatFlowActionSm>;
    using Memberships = Mox::DenseTable<Membership, 2>;

    struct View {
        static UmoNatflowActionSmEntry *of(Membership const &membership) {
            return &membership.key()->owner();
        }
    };

  public:
    [[nodiscard]] auto begin() const noexcept {
        return Mox::Walk<Memberships::Walker, View>(memberships_);
    }
    [[nodiscard]] Mox::WalkEnd end() const noexcept { return {}; }

  private:
    friend class UmoNatflowActionSmEntry;

    Memberships memberships_;
};

/// An entry of the action index: the action machines whose port sets depend on one interface, one
/// VLAN or one host. Each kind has a class below. An entry does not own its machines; a machine
/// leaves all entries before it is destroyed.
class UMONAT_API UmoNatflowActionSmEntry : public Mox::Entity {
    MOX_PUBLISHES_KEYS(UmoNatFlowActionSm *, actionSm)

  public:
    enum class Kind : std::uint8_t { intf, vlan, mac };

    [[nodiscard]] Kind kind() const noexcept { return kind_; }
    [[nodiscard]] UmoNatflowActionSmList const &actionSm() const noexcept { return actionSm_; }
    /// Both REQUIRE: a live machine.
    void actionSmIs(UmoNatFlowActionSm *actionSm);
    void actionSmDel(UmoNatFlowActionSm *actionSm);
    void actionSmDelAll();

  protected:
    explicit UmoNatflowActionSmEntry(Kind kind) noexcept : kind_(kind), actionSm_(*this) {}
    ~UmoNatflowActionSmEntry() override;

  private:
    Kind const kind_;
    UmoNatflowActionSmList actionSm_;
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

/// The index of the action machines by what their port sets depend on. The topology machine owns
/// it. Withdrawing the last machine of an entry removes the entry. The index does not own the
/// machines; adding and withdrawing notify no machine.
class UMONAT_API UmoNatflowActionSmIndex final : public Mox::Entity {
    MOX_CHILDREN(Nexo::IntfId, UmoNatflowActionSmIntf, actionIntf)
    MOX_CHILDREN(std::uint16_t, UmoNatflowActionSmVlan, actionVlan)
    MOX_CHILDREN(Nexo::EthAddr, UmoNatflowActionSmMac, actionMac)
    MOX_FEW_SET(UmoNatFlowActionSm *, 1, actionRecirc) // users of the recirculation VLAN

  public:
    ~UmoNatflowActionSmIndex() override;

    void addActionSmIntf(Nexo::IntfId intf, UmoNatFlowActionSm *actionSm);
    void addActionSmVlan(std::uint16_t vlan, UmoNatFlowActionSm *actionSm);
    void addActionSmMac(Nexo::EthAddr const &mac, UmoNatFlowActionSm *actionSm);
    void addActionSmRecirc(UmoNatFlowActionSm *actionSm);

    /// Withdraws the machine from the whole index.
    void delActionSm(UmoNatFlowActionSm *actionSm);

    /// The same for a machine that is being destroyed, without trace messages.
    void actionSmGone(UmoNatFlowActionSm *actionSm);

    /// Withdraws all machines.
    void clear();

  private:
    using Entries = std::vector<Mox::Ptr<UmoNatflowActionSmEntry>>;

    template <class Index, class Key, class Publish>
    Mox::Ptr<typename Index::Value::Object> entryIs(Index &index, Key const &key,
                                                    Publish const &publish);
    template <class Entry, class Key>
    Mox::Ptr<Entry> spareEntry(Key const &key);
    [[nodiscard]] bool indexed(UmoNatflowActionSmEntry &entry) const noexcept;
    template <class Index, class Publish>
    void removeEmptied(Index &index, Entries const &emptied, char const *removed,
                       Publish const &publish);
    void withdraw(UmoNatFlowActionSm *actionSm, bool traced);

    /// The entries that the last withdrawal emptied and that nobody else knows. An evaluation
    /// withdraws its action and then mostly registers it under the same keys, in the same order:
    /// these entries are reused, from nextSpare_ on.
    Entries spare_;
    std::size_t nextSpare_ = 0;
};

/// Make an entry with that key and no machines.
Mox::Ptr<UmoNatflowActionSmIntf> UmoNatflowActionSmIntfIs(Nexo::IntfId intf);
Mox::Ptr<UmoNatflowActionSmVlan> UmoNatflowActionSmVlanIs(std::uint16_t vlan);
Mox::Ptr<UmoNatflowActionSmMac> UmoNatflowActionSmMacIs(Nexo::EthAddr const &mac);

UMONAT_API Mox::Ptr<UmoNatflowActionSmIntf> umoNatflowActionSmIntfFactory(Nexo::IntfId intf);
UMONAT_API Mox::Ptr<UmoNatflowActionSmVlan> umoNatflowActionSmVlanFactory(std::uint16_t vlan);
UMONAT_API Mox::Ptr<UmoNatflowActionSmMac> umoNatflowActionSmMacFactory(Nexo::EthAddr const &mac);
