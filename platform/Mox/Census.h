#pragma once

#include "Base/Export.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <typeinfo>
#include <vector>

namespace Mox {

class PtrInterface;

/// Counts the live objects of the process by class: those that Mox::make and Mox::reactorIs made
/// while the census was on. It is off by default, and then costs one test when an object is made
/// and one when it is destroyed. It costs nothing when a pointer is copied.
///
/// A counted object is subtracted when it is destroyed, even if the census is off by then. The
/// census belongs to the event loop's thread.
class PLATFORM_API Census {
  public:
    struct Entry {
        std::string name; // of the class, with its namespaces
        std::size_t size; // of one object in bytes, without what it holds on the heap
        std::size_t live;
    };

    /// Switches the counting of objects made from now on.
    static void activeIs(bool active) noexcept { active_ = active; }
    [[nodiscard]] static bool active() noexcept { return active_; }

    /// The classes that have live objects, in order of name.
    [[nodiscard]] static std::vector<Entry> live();

    /// For the functions that make objects: if the census is on, counts `object` as a `T` of `size`
    /// bytes.
    template <class T>
    static void enter(PtrInterface const &object, std::size_t size) {
        if (active_) [[unlikely]] {
            enterAs(object, typeid(T), size);
        }
    }

  private:
    friend class PtrInterface;

    /// A class's number; 0 for objects that were not counted.
    using ClassNumber = std::uint16_t;

    static void enterAs(PtrInterface const &object, std::type_info const &type, std::size_t size);
    static void leave(ClassNumber number) noexcept;

    static bool active_;
};

} // namespace Mox
