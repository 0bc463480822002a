#include "agent/capture/CaptureDirectory.h"

#include "Base/Assert.h"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace UmoAgent {

namespace {

namespace fs = std::filesystem;

std::string fileNameOf(Nexo::IntfId interface) {
    std::string name = interface.stringValue() + ".pcap";
    std::replace(name.begin(), name.end(), '/', '_');
    return name;
}

/// A name such as Ethernet1, which nobody else gives to a file. A short name is not one of ours:
/// `Et1.pcap` may be the user's own.
bool hasNameOfAKind(fs::path const &fileName) {
    std::string name = fileName.stem().string();
    std::replace(name.begin(), name.end(), '_', '/');
    try {
        Nexo::IntfId const interface(name);
        return interface.shortName() != interface.stringValue() &&
               fileName == fileNameOf(interface);
    } catch (std::invalid_argument const &) {
        return false;
    }
}

std::vector<fs::path> namedByInterfaces(fs::path const &directory,
                                        std::set<Nexo::IntfId> const &ports) {
    std::set<std::string> names;
    for (Nexo::IntfId const port : ports) {
        names.insert(fileNameOf(port));
    }
    std::vector<fs::path> found;
    for (fs::directory_entry const &entry : fs::directory_iterator(directory)) {
        fs::path const name = entry.path().filename();
        if (names.count(name.string()) != 0 || hasNameOfAKind(name)) {
            found.push_back(entry.path());
        }
    }
    return found;
}

void refuseInputs(std::vector<fs::path> const &files, std::vector<std::string> const &inputs) {
    for (fs::path const &file : files) {
        for (std::string const &input : inputs) {
            std::error_code unknown; // a file that does not exist is none of the inputs
            if (fs::equivalent(file, input, unknown)) {
                throw CaptureError(file.string(),
                                   "it would be overwritten, and is the input " + input);
            }
        }
    }
}

/// As many open files as the system lets us have: each interface that sends has one.
void allowManyFiles() {
    rlimit files{};
    if (getrlimit(RLIMIT_NOFILE, &files) == 0) {
        files.rlim_cur = files.rlim_max;
        setrlimit(RLIMIT_NOFILE, &files);
    }
}

} // namespace

CaptureDirectory::CaptureDirectory(fs::path directory, std::vector<std::string> const &inputs,
                                   std::set<Nexo::IntfId> const &ports)
    : directory_(std::move(directory)) {
    allowManyFiles();
    try {
        fs::create_directories(directory_);
        auto const files = namedByInterfaces(directory_, ports);
        refuseInputs(files, inputs);
        if (access(directory_.c_str(), W_OK | X_OK) != 0) {
            throw fs::filesystem_error("", directory_,
                                       std::error_code(errno, std::generic_category()));
        }
        for (fs::path const &file : files) {
            if (fs::is_regular_file(fs::symlink_status(file))) {
                fs::remove(file);
            }
        }
    } catch (fs::filesystem_error const &error) {
        throw CaptureError((error.path1().empty() ? directory_ : error.path1()).string(),
                           "cannot be written: " + error.code().message());
    }
}

void CaptureDirectory::write(Nexo::IntfId interface, Vyr::Time at,
                             std::span<std::uint8_t const> frame) {
    Base::assertThat(!interface.empty(), "the interface has a name");
    if (failed_.count(interface) != 0) {
        return;
    }
    auto writer = writers_.find(interface);
    if (writer == writers_.end()) {
        std::string file = (directory_ / fileNameOf(interface)).string();
        writer = writers_.try_emplace(interface, std::move(file)).first;
    }
    writer->second.write(at, frame);
    if (std::string const &loss = writer->second.loss(); !loss.empty()) {
        errors_.push_back(loss);
        failed_.insert(interface);
        writers_.erase(writer);
    }
}

void CaptureDirectory::finish() {
    for (auto &entry : writers_) {
        if (std::string loss = entry.second.finish(); !loss.empty()) {
            errors_.push_back(std::move(loss));
        }
    }
    writers_.clear();
}

} // namespace UmoAgent
