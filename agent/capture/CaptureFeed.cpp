#include "agent/capture/CaptureFeed.h"

#include "Base/Assert.h"

namespace UmoAgent {

CaptureFeed::CaptureFeed(std::vector<Source> const &sources, Vyr::Time start) : start_(start) {
    inputs_.reserve(sources.size());
    for (Source const &source : sources) {
        inputs_.push_back({source.interface, CaptureReader(source.file), {}});
    }
    for (std::size_t number = 0; number < inputs_.size(); ++number) {
        readAhead(number);
    }
}

std::optional<Vyr::Time> CaptureFeed::nextAt() const {
    return queue_.empty() ? std::nullopt : std::optional(queue_.top().first);
}

CaptureFeed::Arrival CaptureFeed::take() {
    Base::assertThat(!queue_.empty(), "a frame is left");
    auto const [at, number] = queue_.top();
    queue_.pop();
    Input const &input = inputs_[number];
    taken_.assign(input.ahead.begin(), input.ahead.end());
    readAhead(number);
    return {at, input.interface, taken_};
}

void CaptureFeed::readAhead(std::size_t number) {
    Input &input = inputs_[number];
    try {
        if (auto const frame = input.reader.next()) {
            input.ahead = frame->bytes;
            queue_.emplace(start_ + frame->at, number);
        }
    } catch (CaptureError const &error) {
        errors_.emplace_back(error.what());
    }
}

} // namespace UmoAgent
