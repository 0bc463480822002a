#pragma once

#include <filesystem>
#include <string>

namespace UmoAgent {

/// Where ovs-vswitchd has its pid file and its sockets: the folder of `ovsdb`, the Unix socket of
/// its ovsdb-server.
inline std::string runDirectoryOf(std::string const &ovsdb) {
    auto const folder = std::filesystem::path(ovsdb).parent_path();
    return folder.empty() ? "." : folder.string();
}

} // namespace UmoAgent
