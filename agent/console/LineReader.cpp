#include "agent/console/LineReader.h"

namespace UmoAgent {

LineReader::State LineReader::add(std::string_view bytes) {
    if (state_ != State::reading) {
        return state_;
    }
    std::size_t const end = bytes.find('\n');
    line_ += bytes.substr(0, end);
    bool const whole = end != std::string_view::npos;
    bool const mayEndInReturn = !line_.empty() && line_.back() == '\r';
    std::size_t const length = line_.size() - (mayEndInReturn ? 1 : 0);
    if (length > kMaxLength) {
        line_.clear();
        state_ = State::tooLong;
    } else if (whole) {
        line_.resize(length);
        state_ = State::whole;
    }
    return state_;
}

} // namespace UmoAgent
