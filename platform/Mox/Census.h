#pragma once

#include "Base/Export.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <typeinfo>
#include <vector>

namespace Mox {

class PtrInterface;

/// Counts the live objects of the process by class, of those that Mox::make and Mox::reactorIs
/// made while the census was on. Off, which it is until somebody asks, it costs one test at an
/// object's creation and one at its destruction; copies of pointers never know of it.
///
/// What was counted is taken off again at its destruction, whether or not the census is still on.
/// Like all objects it belongs to the event loop's thread.
class PLATFORM_API Census {
  public:
    struct Entry {
        std::string name; // of the class, with its namespaces
        std::size_t size; // of one object in bytes, without what it holds on the heap
        std::size_t live;
    };

    /// Has the objects made from now on counted, or no more.
    static void activeIs(bool active) noexcept { active_ = active; }
    [[nodiscard]] static bool active() noexcept { return active_; }

    /// The classes that have live objects, in the order of their names.
    [[nodiscard]] static std::vector<Entry> live();

    /// For the functions that make objects: counts `object` in, if the census is on, as one of
    /// the class `T` that takes `size` bytes.
    template <class T>
    static void enter(PtrInterface const &object, std::size_t size) {
        if (active_) [[unlikely]] {
            enterAs(object, typeid(T), size);
        }
    }

  private:
    friend class PtrInterface;

    /// A class's number; 0 is that of objects that were not counted.
    using ClassNumber = std::uint16_t;

    static void enterAs(PtrInterface const &object, std::type_info const &type, std::size_t size);
    static void leave(ClassNumber number) noexcept;

    static bool active_;
};

} // namespace Mox
