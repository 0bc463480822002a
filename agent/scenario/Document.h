#pragma once

#include "agent/scenario/ScenarioErrors.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace UmoAgent {

/// A YAML document with its aliases expanded: all values in order, a list or mapping before its
/// items.
struct Document {
    enum class Kind : std::uint32_t { null, scalar, sequence, map };

    struct Value {
        Kind kind = Kind::null;
        std::int32_t line = 0, column = 0; // its start, from 1; of an alias, the target's start
        std::uint32_t begin = 0, size = 0; // a scalar's text in `texts`; the number of items
        std::uint32_t end = 0;             // the first value after it
    };

    std::vector<Value> values;
    std::string texts;
};

/// A value of a document. The document must outlive it and not move.
class YamlNode {
  public:
    using Kind = Document::Kind;

    explicit YamlNode(Document const &document, std::size_t index = 0)
        : document_(&document), index_(index) {}

    [[nodiscard]] Kind kind() const { return value().kind; }
    [[nodiscard]] bool isScalar() const { return kind() == Kind::scalar; }
    [[nodiscard]] bool isSequence() const { return kind() == Kind::sequence; }
    [[nodiscard]] bool isMap() const { return kind() == Kind::map; }
    [[nodiscard]] bool isScalar(std::string_view asked) const {
        return isScalar() && text() == asked;
    }
    [[nodiscard]] Place place() const { return {value().line, value().column}; }

    /// The text of a scalar.
    [[nodiscard]] std::string_view text() const {
        return std::string_view(document_->texts).substr(value().begin, value().size);
    }

    /// The number of items of a list or mapping; a mapping's items alternate between keys and
    /// values.
    [[nodiscard]] std::size_t size() const { return value().size; }
    /// The first item; there must be one.
    [[nodiscard]] YamlNode first() const { return YamlNode(*document_, index_ + 1); }
    /// The next item; there must be one.
    [[nodiscard]] YamlNode next() const { return YamlNode(*document_, value().end); }

  private:
    [[nodiscard]] Document::Value const &value() const { return document_->values[index_]; }

    Document const *document_;
    std::size_t index_;
};

/// The one YAML document of `text`. Returns nothing, with the reason in `errors`, if the text is
/// malformed or empty, has more than one document, or has more values than a file may have.
std::optional<Document> readDocument(std::string const &text, ScenarioErrors &errors);

} // namespace UmoAgent
