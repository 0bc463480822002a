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
    constexpr int kIndent = 2;
    out << value.dump(kIndent) << '\n';
}

} // namespace UmoAgent
