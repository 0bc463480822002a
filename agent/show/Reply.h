#pragma once

#include <nlohmann/json_fwd.hpp>

#include <iosfwd>
#include <string>

namespace UmoAgent {

/// A value with its members in the order in which they were added. Its strings are printable.
using Json = nlohmann::ordered_json;

/// Where an answer or a printout goes, and in which form.
struct Reply {
    std::ostream &out;
    bool json = false;
    std::string note{}; // what a reader of any answer must know; printable, empty: nothing

    /// Prints `value`, an object, as it is or by `text`.
    void give(Json value, void (*text)(std::ostream &out, Json const &value)) const;
};

} // namespace UmoAgent
