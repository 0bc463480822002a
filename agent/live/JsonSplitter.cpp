#include "agent/live/JsonSplitter.h"

namespace UmoAgent {

std::optional<std::string> JsonSplitter::next() {
    while (!broken_ && looked_ < text_.size()) {
        if (endsWith(text_[looked_++])) {
            std::string object = text_.substr(0, looked_);
            text_.erase(0, looked_);
            looked_ = 0;
            return object;
        }
        broken_ = broken_ || looked_ > kLongest;
    }
    return std::nullopt;
}

/// Whether the character, the next of the text, is the last of an object.
bool JsonSplitter::endsWith(char c) {
    if (inString_) {
        inString_ = escaped_ || c != '"';
        escaped_ = !escaped_ && c == '\\';
        return false;
    }
    switch (c) {
    case '{':
    case '[':
        broken_ = depth_ == 0 && c == '[';
        ++depth_;
        return false;
    case '}':
    case ']':
        broken_ = depth_ == 0;
        return !broken_ && --depth_ == 0;
    case ' ':
    case '\t':
    case '\r':
    case '\n':
        return false;
    default:
        broken_ = depth_ == 0;
        inString_ = c == '"';
        return false;
    }
}

} // namespace UmoAgent
