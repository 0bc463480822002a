#include "agent/base/TraceOutput.h"

#include "agent/base/Text.h"

#include <ostream>

namespace UmoAgent {

TraceOutput::TraceOutput(std::ostream &out) : out_(out), before_(Mox::traceSinkIs(this)) {}

TraceOutput::~TraceOutput() {
    Mox::traceSinkIs(before_);
}

void TraceOutput::message(std::string_view handle, int level, std::string_view text) {
    out_ << handle << '/' << level << ' ' << printable(text) << std::endl;
}

} // namespace UmoAgent
