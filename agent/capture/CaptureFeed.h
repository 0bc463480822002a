#pragma once

#include "Nexo/IntfId.h"
#include "Vyr/Clock.h"
#include "agent/capture/CaptureReader.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <queue>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace UmoAgent {

/// The frames that arrive at the interfaces of a switch, each capture at its interface, merged in
/// the order of time. Frames of the same time come in the order in which their captures were given.
/// Each capture is read one frame ahead.
class CaptureFeed {
  public:
    struct Source {
        Nexo::IntfId interface;
        std::string file;
    };
    struct Arrival {
        Vyr::Time at;
        Nexo::IntfId interface;
        std::span<std::uint8_t const> bytes; // valid until the next call of `take`
    };

    /// The first frame of each capture arrives at `start`, which is from 0 to 1 year. Throws
    /// CaptureError if one of the captures cannot be opened.
    CaptureFeed(std::vector<Source> const &sources, Vyr::Time start);

    /// When the next frame arrives; none after the last one.
    [[nodiscard]] std::optional<Vyr::Time> nextAt() const;

    /// The next frame. REQUIRES: there is one.
    [[nodiscard]] Arrival take();

    /// The errors found since the last call, each the text of a CaptureError. A damaged capture
    /// ends with the last frame before the damage; the others go on.
    [[nodiscard]] std::vector<std::string> takeErrors() { return std::exchange(errors_, {}); }

  private:
    struct Input {
        Nexo::IntfId interface;
        CaptureReader reader;
        std::span<std::uint8_t const> ahead; // the next frame
    };
    using Next = std::pair<Vyr::Time, std::size_t>; // the number of the input

    void readAhead(std::size_t number);

    Vyr::Time start_;
    std::vector<Input> inputs_;
    std::priority_queue<Next, std::vector<Next>, std::greater<>> queue_; // the earliest on top
    std::vector<std::uint8_t> taken_;
    std::vector<std::string> errors_;
};

} // namespace UmoAgent
