#pragma once

#include "Base/Assert.h"
#include "Base/Export.h"
#include "Mox/Children.h"
#include "Mox/Ptr.h"
#include "Mox/Reactor.h"

#include <cstddef>
#include <stdexcept>

namespace Mox {

/// Thrown when a child is requested under an existing key but with different inputs. A child's
/// inputs are fixed for its life: remove the old child first.
class PLATFORM_API MutatorReinstantiatingException final : public std::logic_error {
  public:
    MutatorReinstantiatingException()
        : std::logic_error("child state machine exists with other inputs under the same key") {}
};

/// The children of a state machine: machines of the class `Sm`, each made from an `Sm::Inputs`, and
/// with the key() of what it follows. The collection owns them; removing a child destroys it unless
/// it is held elsewhere.
template <class Key, class Sm>
class ReactorCollection {
  public:
    using Machines = Children<Key, Sm>;

    [[nodiscard]] Machines const &machines() const noexcept { return machines_; }

    /// Gets memory for `machines` in all.
    void reserve(std::size_t machines) { machines_.reserve(machines); }

    /// The child of `key`: the existing one, or else a new one from `make`, inserted after its
    /// start. (`Child` is `Sm`, as a parameter so that an owner may declare its children before
    /// their class is complete.)
    template <class Child = Sm>
    Ptr<Sm> is(Key const &key, typename Child::Inputs const &inputs,
               Ptr<Sm> (*make)(typename Child::Inputs const &) = &reactorIs<Child>) {
        if (Ptr<Sm> const *present = machines_.find(key)) {
            if (!((*present)->inputs() == inputs)) {
                throw MutatorReinstantiatingException();
            }
            return *present;
        }
        Ptr<Sm> machine = make(inputs);
        Base::assertThat(machines_.find(key) == nullptr, "machines_.find(key) == nullptr");
        Base::assertThat(machine->key() == key, "machine->key() == key");
        machines_.insert(key, machine);
        return machine;
    }

    void del(Key const &key) { machines_.remove(key); }
    void delAll() { machines_.clear(); }

    /// For an owner that switches its nested reactors too.
    void hasNotificationActiveIs(bool active) {
        for (auto const &[key, machine] : machines_) {
            machine->hasNotificationActiveIs(active);
        }
    }

  private:
    Machines machines_;
};

} // namespace Mox
