#include "agent/show/Reply.h"

#include <nlohmann/json.hpp>

#include <ostream>

namespace UmoAgent {

void Reply::give(Json value, void (*text)(std::ostream &out, Json const &value)) const {
    if (!json) {
        text(out, value);
        return;
    }
    if (!note.empty()) {
        value["note"] = note;
    }
    out << value.dump() << '\n'; // in one line: large tables must not become larger
}

} // namespace UmoAgent
