#include "agent/capture/CaptureReader.h"

#include <pcap/pcap.h>

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <system_error>
#include <utility>

namespace UmoAgent {

namespace {

constexpr Vyr::Time kLongest = std::chrono::hours(24 * 365 * 100);

struct CloseFile {
    void operator()(std::FILE *file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

std::string reasonOf(int error) {
    return "cannot be read: " + std::generic_category().message(error);
}

/// libpcap would open standard input for the name `-`. What is no regular file could make the
/// switch wait.
File openFile(std::string const &name) {
    struct stat kind {};
    if (stat(name.c_str(), &kind) != 0) {
        throw CaptureError(name, reasonOf(errno));
    }
    if (!S_ISREG(kind.st_mode)) {
        throw CaptureError(name, "cannot be read: it is no regular file");
    }
    if (kind.st_size == 0) {
        throw CaptureError(name, "it is no capture: it is empty");
    }
    File file(std::fopen(name.c_str(), "rbe"));
    if (!file) {
        throw CaptureError(name, reasonOf(errno));
    }
    return file;
}

/// Any time stamp of a file, limited so that differences of two do not overflow.
Vyr::Time timeOf(timeval const &stamp) {
    constexpr std::int64_t kLatest = 4'300'000'000; // in seconds, more than 32 bits
    std::int64_t seconds = stamp.tv_sec;
    if (seconds < 0) {
        seconds += std::int64_t{1} << 32; // libpcap reads pcap's unsigned seconds as signed
    }
    return std::chrono::seconds(std::clamp<std::int64_t>(seconds, 0, kLatest)) +
           std::chrono::nanoseconds(stamp.tv_usec);
}

} // namespace

void CaptureReader::Close::operator()(pcap *capture) const {
    pcap_close(capture);
}

CaptureReader::CaptureReader(std::string file) : file_(std::move(file)) {
    File opened = openFile(file_);
    std::array<char, PCAP_ERRBUF_SIZE> reason{};
    capture_.reset(pcap_fopen_offline_with_tstamp_precision(
        opened.get(), PCAP_TSTAMP_PRECISION_NANO, reason.data()));
    if (!capture_) {
        throw CaptureError(file_, std::string("it is no capture: ") + reason.data());
    }
    static_cast<void>(opened.release()); // from here on libpcap closes it
    if (int const type = pcap_datalink(capture_.get()); type != DLT_EN10MB) {
        char const *const name = pcap_datalink_val_to_name(type);
        throw CaptureError(file_, "its link type is " +
                                      (name != nullptr ? std::string(name) : std::to_string(type)) +
                                      ", expected is Ethernet");
    }
}

std::optional<CaptureReader::Frame> CaptureReader::next() {
    if (!capture_) {
        return std::nullopt;
    }
    pcap_pkthdr *header = nullptr;
    std::uint8_t const *bytes = nullptr;
    int const result = pcap_next_ex(capture_.get(), &header, &bytes);
    if (result == 1) {
        ++frames_;
        return Frame{since(timeOf(header->ts)), {bytes, header->caplen}};
    }
    auto const ended = std::move(capture_);
    if (result == PCAP_ERROR) {
        throw CaptureError(file_, "frame " + std::to_string(frames_ + 1) +
                                      " cannot be read: " + pcap_geterr(ended.get()));
    }
    return std::nullopt;
}

Vyr::Time CaptureReader::since(Vyr::Time stamp) {
    if (!first_) {
        first_ = stamp;
    }
    last_ = std::clamp(stamp - *first_, last_, kLongest);
    return last_;
}

} // namespace UmoAgent
