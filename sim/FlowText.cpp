#include "sim/FlowText.h"

#include <cstdint>

namespace Sim {

using UmoAgent::Document;

namespace {

constexpr std::string_view kEndsWord = ",:{}[]'";
constexpr std::string_view kUnknown = "\"\\#&*!|>%@`\n\t?";

class FlowParser {
  public:
    explicit FlowParser(std::string_view text) : text_(text) {}

    std::optional<Document> parse() {
        bool const whole =
            text_.find_first_of(kUnknown) == std::string_view::npos && value() && !skipBlanks();
        return whole ? std::optional(std::move(document_)) : std::nullopt;
    }

  private:
    /// Whether there is anything but blanks.
    bool skipBlanks() {
        while (at_ < text_.size() && text_[at_] == ' ') {
            ++at_;
        }
        return at_ < text_.size();
    }
    bool skip(char c) {
        bool const there = skipBlanks() && text_[at_] == c;
        at_ += there ? 1 : 0;
        return there;
    }

    std::size_t open(Document::Kind kind, std::size_t at) {
        document_.values.push_back({kind, 1, static_cast<std::int32_t>(at + 1)});
        return document_.values.size() - 1;
    }
    bool close(std::size_t index) {
        document_.values[index].end = static_cast<std::uint32_t>(document_.values.size());
        return true;
    }

    bool value() {
        return skip('{')   ? items(Document::Kind::map, '}')
               : skip('[') ? items(Document::Kind::sequence, ']')
                           : word();
    }

    /// Behind the opening bracket.
    bool items(Document::Kind kind, char end) {
        std::size_t const index = open(kind, at_ - 1);
        std::uint32_t count = 0;
        while (!skip(end)) {
            bool const isMap = kind == Document::Kind::map;
            if ((count > 0 && !skip(',')) || (isMap && !(word() && skip(':'))) || !value()) {
                return false;
            }
            count += isMap ? 2 : 1;
        }
        document_.values[index].size = count;
        return close(index);
    }

    bool word() {
        if (!skipBlanks()) {
            return false;
        }
        bool const quoted = text_[at_] == '\'';
        std::size_t const begin = at_ + (quoted ? 1 : 0);
        std::size_t end = quoted ? text_.find('\'', begin) : text_.find_first_of(kEndsWord, begin);
        if (end == std::string_view::npos || (!quoted && end == begin)) {
            return false;
        }
        std::size_t const index = open(Document::Kind::scalar, at_);
        at_ = end + (quoted ? 1 : 0);
        while (!quoted && text_[end - 1] == ' ') {
            --end;
        }
        document_.values[index].begin = static_cast<std::uint32_t>(document_.texts.size());
        document_.values[index].size = static_cast<std::uint32_t>(end - begin);
        document_.texts += text_.substr(begin, end - begin);
        return close(index);
    }

    std::string_view text_;
    std::size_t at_ = 0;
    Document document_;
};

} // namespace

std::optional<Document> flowDocument(std::string_view text) {
    return FlowParser(text).parse();
}

} // namespace Sim
