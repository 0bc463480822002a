#include "agent/capture/Captures.h"

#include <algorithm>
#include <utility>

namespace UmoAgent {

namespace {

std::vector<std::string> filesOf(std::vector<CaptureFeed::Source> const &sources) {
    std::vector<std::string> files;
    files.reserve(sources.size());
    for (CaptureFeed::Source const &source : sources) {
        files.push_back(source.file);
    }
    return files;
}

} // namespace

Captures::Captures(CaptureOptions const &options, std::set<Nexo::IntfId> const &ports,
                   EventLoop &loop, Forwarder &forwarder, Report report)
    : loop_(loop),
      forwarder_(forwarder),
      report_(std::move(report)),
      feed_(options.in, options.start) {
    if (!options.out.empty()) {
        directory_.emplace(options.out, filesOf(options.in), ports);
        forwarder_.transmitIs([this](Nexo::IntfId intf, FrameView frame) {
            directory_->write(intf, loop_.now(), frame);
        });
    }
    reportErrors();
}

Captures::~Captures() {
    forwarder_.transmitIs(nullptr);
}

void Captures::playBefore(std::optional<Vyr::Time> until) {
    for (auto at = feed_.nextAt(); at && (!until || *at < *until); at = feed_.nextAt()) {
        loop_.runUntil(*at);
        if (loop_.stopped()) {
            return;
        }
        auto const arrival = feed_.take();
        forwarder_.receive(arrival.interface, arrival.bytes);
        reportErrors();
    }
}

bool Captures::finish() {
    if (directory_) {
        directory_->finish();
    }
    reportErrors();
    return complete_;
}

void Captures::reportErrors() {
    auto const report = [&](std::vector<std::string> const &errors) {
        std::for_each(errors.begin(), errors.end(), report_);
        complete_ = complete_ && errors.empty();
    };
    report(feed_.takeErrors());
    if (directory_) {
        report(directory_->takeErrors());
    }
}

} // namespace UmoAgent
