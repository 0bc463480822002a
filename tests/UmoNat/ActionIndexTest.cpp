#include "tests/support/TopologySwitch.h"

#include <map>
#include <random>

using namespace TestSupport;

namespace {

constexpr unsigned kMachines = 5;
constexpr unsigned kKeys = 4; // of each kind

/// The index told by plain scans: for each key of a kind the machines in the order in which they
/// joined. The kinds are interfaces, VLANs and MACs, and the keys are named as traces name them.
struct Model {
    using Entries = std::map<std::string, std::vector<std::string>>;
    std::array<Entries, 3> kinds;

    static std::string name(std::size_t kind, unsigned key) {
        std::string const number = std::to_string(key + 1);
        return kind == 0   ? "intf Ethernet" + number
               : kind == 1 ? "vlan " + number
                           : "mac 00:00:00:00:00:0" + number;
    }
    void add(std::size_t kind, unsigned key, std::string const &machine) {
        auto &members = kinds[kind][name(kind, key)];
        if (std::find(members.begin(), members.end(), machine) == members.end()) {
            members.push_back(machine);
        }
    }
    /// Returns the keys whose entries went, kind by kind, each kind's in order.
    std::vector<std::string> withdraw(std::string const &machine) {
        std::vector<std::string> removed;
        for (Entries &entries : kinds) {
            for (auto it = entries.begin(); it != entries.end();) {
                bool const gone = std::erase(it->second, machine) > 0 && it->second.empty();
                if (gone) {
                    removed.push_back(it->first);
                }
                it = gone ? entries.erase(it) : std::next(it);
            }
        }
        return removed;
    }
};

/// The real index behind the model's questions. Everything is done through the accessor that
/// `door` says: the index's own operation, the collection's, or the entry's.
struct IndexSwitch : TopologySwitch {
    IndexSwitch() {
        for (unsigned i = 0; i < kMachines; ++i) {
            watcher(machineName(i));
        }
    }
    static std::string machineName(unsigned i) { return "w" + std::to_string(i); }

    /// Calls `use` with the key and the accessors of one kind.
    template <class Use>
    void ofKind(std::size_t kind, unsigned key, Use const &use) {
        auto &index = sm();
        if (kind == 0) {
            use(
                IntfId("Ethernet" + std::to_string(key + 1)), umoNatflowActionSmIntfFactory,
                [&](auto const &...a) { return index.actionIntf(a...); },
                [&](auto const &...a) { return index.actionIntfIs(a...); },
                [&](auto const &k) { index.actionIntfDel(k); });
        } else if (kind == 1) {
            use(
                static_cast<std::uint16_t>(key + 1), umoNatflowActionSmVlanFactory,
                [&](auto const &...a) { return index.actionVlan(a...); },
                [&](auto const &...a) { return index.actionVlanIs(a...); },
                [&](auto const &k) { index.actionVlanDel(k); });
        } else {
            use(
                Nexo::EthAddr(key + 1), umoNatflowActionSmMacFactory,
                [&](auto const &...a) { return index.actionMac(a...); },
                [&](auto const &...a) { return index.actionMacIs(a...); },
                [&](auto const &k) { index.actionMacDel(k); });
        }
    }

    void add(std::size_t kind, unsigned key, UmoNatFlowActionSm *machine) {
        switch (kind) {
        case 0:
            return sm().addActionSmIntf(IntfId("Ethernet" + std::to_string(key + 1)), machine);
        case 1:
            return sm().addActionSmVlan(static_cast<std::uint16_t>(key + 1), machine);
        default:
            return sm().addActionSmMac(Nexo::EthAddr(key + 1), machine);
        }
    }

    /// What the index holds, in the model's form.
    Model contents() {
        Model model;
        auto const show = [](auto const &index, char const *kind, Model::Entries &entries) {
            for (auto const &[key, entry] : index) {
                std::ostringstream name;
                name << kind << ' ' << key;
                auto &members = entries[name.str()];
                for (UmoNatFlowActionSm const *const machine : entry->actionSm()) {
                    members.push_back(machine->action());
                }
            }
        };
        show(sm().actionIntf(), "intf", model.kinds[0]);
        show(sm().actionVlan(), "vlan", model.kinds[1]);
        show(sm().actionMac(), "mac", model.kinds[2]);
        return model;
    }
};

/// The keys of the trace's "Removed" lines. They have to come kind by kind; within a kind they
/// are put in order here.
std::vector<std::string> removedKeys(std::vector<std::string> const &lines) {
    std::vector<std::string> keys;
    std::string const heads[] = {"Removed actionIntf for ", "Removed actionVlan for ",
                                 "Removed actionMac for "};
    std::size_t kind = 0;
    auto kindBegin = keys.size();
    for (std::string const &line : lines) {
        while (kind < 3 && !line.starts_with(heads[kind])) {
            std::sort(keys.begin() + static_cast<std::ptrdiff_t>(kindBegin), keys.end());
            kindBegin = keys.size();
            ++kind;
        }
        keys.push_back(kind < 3 ? line.substr(heads[kind].size()) : "out of order: " + line);
    }
    std::sort(keys.begin() + static_cast<std::ptrdiff_t>(kindBegin), keys.end());
    return keys;
}

} // namespace

TEST(ActionIndex, WithdrawsAsAScanWouldWhicheverAccessorsWereUsed) {
    IndexSwitch sw;
    Model model;
    TopologyTrace trace(4);
    std::mt19937 random(7);
    auto const below = [&](unsigned limit) { return static_cast<unsigned>(random() % limit); };
    std::vector<Mox::Ptr<Mox::Entity>> held; // entries that left the index and live on
    for (int step = 0; step < 4000; ++step) {
        SCOPED_TRACE(step);
        std::size_t const kind = below(3);
        unsigned const key = below(kKeys), which = below(kMachines);
        std::string const keyName = Model::name(kind, key);
        std::string const machineName = IndexSwitch::machineName(which);
        auto *const machine = &sw.actionSm("p", "m", machineName);
        auto &entries = model.kinds[kind];
        unsigned const operation = below(12);
        trace.take();
        if (operation < 5) {
            sw.add(kind, key, machine);
            model.add(kind, key, machineName);
        } else if (operation < 7) {
            sw.sm().delActionSm(machine);
            std::vector<std::string> lines = trace.take();
            ASSERT_EQ(lines.front(), "delActionSm, policy: p, match: m, action: " + machineName);
            lines.erase(lines.begin());
            ASSERT_EQ(removedKeys(lines), model.withdraw(machineName));
        } else if (operation == 7) { // the machine ends, and another takes its name
            sw.removeAction("p", "m", machineName);
            sw.watcher(machineName);
            model.withdraw(machineName);
            ASSERT_THAT(trace.take(), IsEmpty());
        } else {
            sw.ofKind(kind, key, [&](auto const &k, auto make, auto at, auto is, auto del) {
                auto const entry = at(k);
                if (operation == 8) { // through the entry, whose key stays
                    is(k)->actionSmIs(machine);
                    model.add(kind, key, machineName);
                } else if (operation == 9 && entry) {
                    entry->actionSmDel(machine);
                    std::erase(entries[keyName], machineName);
                } else if (operation == 10 && entry && below(2) == 0) {
                    entry->actionSmDelAll();
                    entries[keyName].clear();
                } else if (operation == 10) { // the entry leaves the index
                    del(k);
                    entries.erase(keyName);
                    held.resize(held.size() % 8);
                    held.push_back(entry);
                } else if (operation == 11 && !entry) { // one that was filled first joins it
                    auto const filled = make(k);
                    filled->actionSmIs(machine);
                    is(k, filled);
                    model.add(kind, key, machineName);
                }
            });
        }
        ASSERT_EQ(sw.contents().kinds, model.kinds);
    }
    // Entries outside the index were left alone by withdrawals, and by them alone.
    auto const outside = umoNatflowActionSmVlanFactory(1);
    outside->actionSmIs(&sw.actionSm("p", "m", "w0"));
    sw.sm().delActionSm(&sw.actionSm("p", "m", "w0"));
    EXPECT_EQ(outside->actionSm().size(), 1U);
    sw.removeAction("p", "m", "w0");
    EXPECT_TRUE(outside->actionSm().empty());
}
