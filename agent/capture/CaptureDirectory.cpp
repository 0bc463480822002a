#include "agent/capture/CaptureDirectory.h"

#include "Base/Assert.h"

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

/// A short name is not one of ours: `Et1.pcap` may be the user's own.
bool isNameOfInterface(fs::path const &fileName) {
    std::string name = fileName.stem().string();
    std::replace(name.begin(), name.end(), '_', '/');
    try {
        Nexo::IntfId const interface(name);
        return !interface.empty() && fileName == fileNameOf(interface);
    } catch (std::invalid_argument const &) {
        return false;
    }
}

std::vector<fs::path> namedByInterfaces(fs::path const &directory) {
    std::vector<fs::path> found;
    for (fs::directory_entry const &entry : fs::directory_iterator(directory)) {
        if (isNameOfInterface(entry.path().filename())) {
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

} // namespace

CaptureDirectory::CaptureDirectory(fs::path directory, std::vector<std::string> const &inputs)
    : directory_(std::move(directory)) {
    try {
        fs::create_directories(directory_);
        auto const files = namedByInterfaces(directory_);
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
    auto writer = writers_.find(interface);
    if (writer == writers_.end()) {
        std::string file = (directory_ / fileNameOf(interface)).string();
        writer = writers_.try_emplace(interface, std::move(file)).first;
    }
    writer->second.write(at, frame);
}

void CaptureDirectory::flush() {
    for (auto &entry : writers_) {
        entry.second.flush();
    }
}

std::string CaptureDirectory::finish() {
    std::string loss;
    for (auto &entry : writers_) {
        std::string const own = entry.second.finish();
        loss = loss.empty() ? own : loss;
    }
    return loss;
}

} // namespace UmoAgent
