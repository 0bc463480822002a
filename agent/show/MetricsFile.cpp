#include "agent/show/MetricsFile.h"

#include "agent/base/Text.h"
#include "agent/show/Printers.h"

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <utility>

namespace UmoAgent {

namespace {
constexpr Vyr::Time kPeriod = std::chrono::seconds(10);
} // namespace

MetricsFile::MetricsFile(std::string path, ForwardingAgent const &agent,
                         SwitchProgrammer const *programmer,
                         std::function<void(std::string const &line)> log)
    : path_(std::move(path)),
      agent_(agent),
      programmer_(programmer),
      log_(std::move(log)),
      timer_([this] {
          if (agent_.loop().onWallTime()) { // virtual time has no readers
              write();
          }
          timer_.runIn(kPeriod);
      }) {
    timer_.runIn({});
}

void MetricsFile::write() {
    if (!agent_.started()) {
        return;
    }
    std::string const problem = problemOfWriting();
    if (!problem.empty() && !failing_) {
        log_(printable(path_) + ": metrics cannot be written: " + problem);
    }
    failing_ = !problem.empty();
}

/// Replaces the file by renaming, so that its reader sees a whole one.
std::string MetricsFile::problemOfWriting() const {
    std::string const next = path_ + ".new";
    std::ofstream file(next);
    printMetrics({file}, agent_, programmer_);
    file.close();
    if (!file || std::rename(next.c_str(), path_.c_str()) != 0) {
        std::string reason = std::strerror(errno);
        std::remove(next.c_str());
        return reason;
    }
    return "";
}

} // namespace UmoAgent
