#include "agent/capture/CaptureWriter.h"

#include <pcap/pcap.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <new>
#include <system_error>
#include <utility>

namespace UmoAgent {

namespace {

constexpr int kMostBytes = 262'144; // what libpcap reads at most

struct ClosePcap {
    void operator()(pcap *capture) const { pcap_close(capture); }
};

/// What libpcap puts into the file's header.
std::unique_ptr<pcap, ClosePcap> kindOfCapture() {
    std::unique_ptr<pcap, ClosePcap> kind(
        pcap_open_dead_with_tstamp_precision(DLT_EN10MB, kMostBytes, PCAP_TSTAMP_PRECISION_NANO));
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
    struct stat present {};
    if (stat(file_.c_str(), &present) == 0 && S_ISFIFO(present.st_mode)) {
        failsFor("it is a pipe, which could make the switch wait");
        return;
    }
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
    header.caplen = header.len = static_cast<bpf_u_int32>(frame.size());
    errno = 0;
    pcap_dump(reinterpret_cast<std::uint8_t *>(dump_.get()), &header, frame.data());
    if (std::ferror(pcap_dump_file(dump_.get())) != 0) {
        fails(errno);
    }
}

std::string CaptureWriter::finish() {
    if (dump_ && pcap_dump_flush(dump_.get()) != 0) {
        fails(errno);
    }
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
    failsFor(std::generic_category().message(error));
}

void CaptureWriter::failsFor(std::string const &reason) {
    loss_ = file_ + ": cannot be written: " + reason;
    dump_.reset();
}

} // namespace UmoAgent
