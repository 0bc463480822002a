#include "agent/capture/CaptureWriter.h"

#include <pcap/pcap.h>

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <new>
#include <system_error>
#include <utility>

namespace UmoAgent {

namespace {

struct ClosePcap {
    void operator()(pcap *capture) const { pcap_close(capture); }
};

/// What libpcap puts into the file's header.
std::unique_ptr<pcap, ClosePcap> kindOfCapture() {
    std::unique_ptr<pcap, ClosePcap> kind(pcap_open_dead_with_tstamp_precision(
        DLT_EN10MB, static_cast<int>(CaptureWriter::kMostBytes), PCAP_TSTAMP_PRECISION_NANO));
    if (!kind) {
        throw std::bad_alloc();
    }
    return kind;
}

} // namespace

void CaptureWriter::Close::operator()(pcap_dumper *dump) const {
    pcap_dump_close(dump);
}

CaptureWriter::CaptureWriter(std::string file) : file_(std::move(file)) {
    auto const kind = kindOfCapture();
    // libpcap would write to standard output for the name `-`.
    if (std::FILE *const opened = std::fopen(file_.c_str(), "wbe"); opened != nullptr) {
        dump_.reset(pcap_dump_fopen(kind.get(), opened)); // closes the file if it fails
    }
    if (!dump_) {
        fails(errno);
    }
}

void CaptureWriter::write(Vyr::Time at, std::span<std::uint8_t const> frame) {
    if (!dump_) {
        return;
    }
    auto const seconds = std::chrono::floor<std::chrono::seconds>(at);
    pcap_pkthdr header{};
    header.ts.tv_sec = seconds.count();
    header.ts.tv_usec = (at - seconds).count(); // nanoseconds, as the file's header says
    header.caplen = static_cast<bpf_u_int32>(std::min(frame.size(), kMostBytes));
    header.len = static_cast<bpf_u_int32>(frame.size());
    errno = 0;
    pcap_dump(reinterpret_cast<std::uint8_t *>(dump_.get()), &header, frame.data());
    if (std::ferror(pcap_dump_file(dump_.get())) != 0) {
        fails(errno);
    }
}

void CaptureWriter::flush() {
    if (dump_ && pcap_dump_flush(dump_.get()) != 0) {
        fails(errno);
    }
}

std::string CaptureWriter::finish() {
    flush();
    if (dump_) {
        // Some file systems report a failed write when a descriptor of the file is closed, and
        // libpcap does not pass that on.
        int const copy = dup(fileno(pcap_dump_file(dump_.get())));
        if (copy >= 0 && close(copy) != 0) {
            fails(errno);
        }
        dump_.reset();
    }
    return loss_;
}

void CaptureWriter::fails(int error) {
    loss_ = file_ + ": cannot be written: " + std::generic_category().message(error);
    dump_.reset();
}

} // namespace UmoAgent
