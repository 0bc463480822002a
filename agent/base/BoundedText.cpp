#include "agent/base/BoundedText.h"

#include <new>

namespace UmoAgent {

std::string BoundedText::text() const {
    return full_ ? text_ + "\n(the rest is left out)\n" : text_;
}

BoundedText::int_type BoundedText::overflow(int_type c) {
    char const one = traits_type::to_char_type(c);
    xsputn(&one, 1);
    return traits_type::not_eof(c);
}

std::streamsize BoundedText::xsputn(char const *text, std::streamsize size) {
    auto const more = static_cast<std::size_t>(size);
    full_ = full_ || more > most_ - text_.size();
    try {
        if (!full_) {
            text_.append(text, more);
        }
    } catch (std::bad_alloc const &) {
        full_ = true;
    }
    return size;
}

} // namespace UmoAgent
