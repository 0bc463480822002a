#pragma once

#include "agent/scenario/ScenarioErrors.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace UmoAgent {

/// A node of a YAML document, as it was written. An alias is the same node as its anchor.
struct YamlNode {
    enum class Kind { null, scalar, sequence, map };

    Kind kind;
    int line, column;   // where it begins, from 1
    std::string text{}; // of a scalar
    /// Of a sequence; those of a map are keys and values by turns.
    std::vector<std::shared_ptr<YamlNode const>> items{};

    [[nodiscard]] bool isScalar() const { return kind == Kind::scalar; }
    [[nodiscard]] bool isSequence() const { return kind == Kind::sequence; }
    [[nodiscard]] bool isMap() const { return kind == Kind::map; }
    [[nodiscard]] bool isScalar(std::string_view asked) const {
        return isScalar() && text == asked;
    }
};

/// The root of the one YAML document of `text`; null, with the reason in `errors`, if the text is
/// malformed, empty, or has more behind its first document.
std::shared_ptr<YamlNode const> readDocument(std::string const &text, ScenarioErrors &errors);

} // namespace UmoAgent
