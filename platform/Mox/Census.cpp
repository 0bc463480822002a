#include "Mox/Census.h"

#include "Base/Assert.h"
#include "Mox/PtrInterface.h"

#include <algorithm>
#include <cstdlib>
#include <cxxabi.h>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <string_view>

namespace Mox {

namespace {

struct Classes {
    // By name: the type's own record goes with its library.
    std::map<std::string, std::size_t, std::less<>> numbers;
    std::vector<Census::Entry> entries; // class number n is at n - 1
};

/// Never destroyed: objects may be destroyed after every static.
Classes &classes() {
    static auto &classes = *new Classes;
    return classes;
}

std::string readable(char const *name) {
    int status = 0;
    std::unique_ptr<char, decltype(&std::free)> const text(
        abi::__cxa_demangle(name, nullptr, nullptr, &status), &std::free);
    return status == 0 ? text.get() : name;
}

} // namespace

bool Census::active_ = false;

std::vector<Census::Entry> Census::live() {
    std::vector<Entry> found;
    std::copy_if(classes().entries.begin(), classes().entries.end(), std::back_inserter(found),
                 [](Entry const &entry) { return entry.live > 0; });
    std::sort(found.begin(), found.end(),
              [](Entry const &a, Entry const &b) { return a.name < b.name; });
    return found;
}

void Census::enterAs(PtrInterface const &object, std::type_info const &type, std::size_t size) {
    auto &[numbers, entries] = classes();
    auto place = numbers.find(std::string_view(type.name()));
    if (place == numbers.end()) {
        place = numbers.try_emplace(type.name(), entries.size() + 1).first;
        Base::assertThat(place->second <= std::numeric_limits<ClassNumber>::max(),
                         "place->second <= std::numeric_limits<ClassNumber>::max()");
        entries.push_back({readable(type.name()), size, 0});
    }
    ++entries[place->second - 1].live;
    object.censusClass_ = static_cast<ClassNumber>(place->second);
}

void Census::leave(ClassNumber number) noexcept {
    --classes().entries[std::size_t{number} - 1].live;
}

} // namespace Mox
