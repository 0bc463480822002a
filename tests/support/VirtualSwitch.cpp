#include "tests/support/VirtualSwitch.h"

#include <nlohmann/json.hpp>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>
#include <thread>

namespace TestSupport {

namespace {

namespace fs = std::filesystem;
using std::chrono::steady_clock;

constexpr char kFolder[] = "/tmp/umo-ovs-"; // short: so must be the paths of sockets
constexpr std::chrono::seconds kPatience(10);

/// Removes the folders of tests that were killed.
void removeLeftFolders() {
    std::error_code ignored; // it may be another user's
    for (auto const &entry : fs::directory_iterator("/tmp", ignored)) {
        std::string const path = entry.path().string();
        if (path.starts_with(kFolder)) {
            int const owner = std::atoi(path.c_str() + std::strlen(kFolder));
            if (owner > 0 && kill(owner, 0) != 0 && errno == ESRCH) {
                fs::remove_all(path, ignored);
            }
        }
    }
}

/// None if nobody listens.
UmoAgent::Descriptor connectedTo(std::string const &path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    UmoAgent::Descriptor connection(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    timeval const limit{kPatience.count(), 0};
    setsockopt(connection.number(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    setsockopt(connection.number(), SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
    bool const connected =
        connect(connection.number(), reinterpret_cast<sockaddr *>(&address), sizeof address) == 0;
    return connected ? std::move(connection) : UmoAgent::Descriptor();
}

std::string hexOf(std::span<std::uint8_t const> bytes) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string text;
    text.reserve(bytes.size() * 2);
    for (std::uint8_t const byte : bytes) {
        text.push_back(kDigits[byte >> 4U]);
        text.push_back(kDigits[byte & 0xfU]);
    }
    return text;
}

std::string contentOf(std::string const &file) {
    std::ifstream in(file);
    return {std::istreambuf_iterator(in), {}};
}

} // namespace

VirtualSwitch::Folder::Folder() : path(kFolder + std::to_string(getpid()) + "-XXXXXX") {
    removeLeftFolders();
    if (mkdtemp(path.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), path);
    }
}

VirtualSwitch::Folder::~Folder() {
    std::error_code ignored;
    fs::remove_all(path, ignored);
}

VirtualSwitch::VirtualSwitch() {
    static_cast<void>(outputOf(
        {"ovsdb-tool", "create", path("conf.db"), "/usr/share/openvswitch/vswitch.ovsschema"},
        environment()));
    startDatabase();
    vsctl({"init"});
    startSwitch();
}

ChildProcess::Environment VirtualSwitch::environment() const {
    return {{"OVS_RUNDIR", directory()}, {"OVS_LOGDIR", directory()}, {"OVS_DBDIR", directory()}};
}

std::string VirtualSwitch::path(std::string_view file) const {
    return directory() + '/' + std::string(file);
}

/// Waits until the process listens on the socket, and returns a connection with it; PID in its name
/// is the process's.
UmoAgent::Descriptor VirtualSwitch::start(std::optional<ChildProcess> &process, Arguments command,
                                          std::string const &socket) const {
    std::string const name = command.front(), log = path(name + ".log");
    command.insert(command.begin() + 1,
                   {"--no-chdir", "-vsyslog:off", "--pidfile=" + path(name + ".pid")});
    UmoAgent::Descriptor const output(
        open(log.c_str(), O_CREAT | O_APPEND | O_WRONLY | O_CLOEXEC, 0600));
    process.emplace(command, environment(), output.number(), output.number());
    auto const deadline = steady_clock::now() + kPatience;
    std::string listens = path(socket);
    if (auto const id = listens.find("PID"); id != std::string::npos) {
        listens.replace(id, 3, std::to_string(process->id()));
    }
    UmoAgent::Descriptor connection;
    while (!(connection = connectedTo(listens))) {
        if (process->endsWithin(std::chrono::milliseconds(1)) || steady_clock::now() > deadline) {
            process.reset();
            throw std::runtime_error(name + " does not start: " + contentOf(log));
        }
    }
    return connection;
}

void VirtualSwitch::startDatabase() {
    static_cast<void>(start(database_,
                            {"ovsdb-server", "--unixctl=" + path("ovsdb-server.ctl"),
                             "--remote=punix:" + path("db.sock"), path("conf.db")},
                            "db.sock"));
}

void VirtualSwitch::startSwitch() {
    control_ =
        start(switch_, {"ovs-vswitchd", "--enable-dummy=override", "--disable-system", database()},
              "ovs-vswitchd.PID.ctl");
    if (database_) { // any change that the switch confirms will do
        vsctl(
            {"set", "Open_vSwitch", ".", "external_ids:started=" + std::to_string(switch_->id())});
    }
}

void VirtualSwitch::killSwitch() {
    switch_.reset();
    control_ = {};
    for (auto &[name, port] : ports_) { // its last frame may be half written
        readCapture(name, port);
        fs::remove(path(name + ".pcap"));
        port.read = 0;
        port.received = 0;
    }
}

void VirtualSwitch::killDatabase() {
    database_.reset();
}

void VirtualSwitch::bridge(std::string const &name, Arguments const &settings) {
    Arguments arguments{"add-br", name, "--", "set", "bridge", name, "datapath_type=dummy"};
    arguments.insert(arguments.end(), settings.begin(), settings.end());
    vsctl(arguments);
}

void VirtualSwitch::port(std::string const &bridge, std::string const &name,
                         Arguments const &settings, Arguments const &interfaceSettings) {
    Arguments arguments{"add-port", bridge, name};
    arguments.insert(arguments.end(), settings.begin(), settings.end());
    arguments.insert(arguments.end(), {"--", "set", "interface", name, "type=dummy",
                                       "options:tx_pcap=" + path(name + ".pcap")});
    arguments.insert(arguments.end(), interfaceSettings.begin(), interfaceSettings.end());
    vsctl(arguments);
    ports_.insert_or_assign(name, Port()); // its capture is new, too
}

std::string VirtualSwitch::vsctl(Arguments const &arguments) {
    Arguments command{"ovs-vsctl", "--timeout=10", "--db=" + database()};
    if (!switch_) {
        command.emplace_back("--no-wait");
    }
    command.insert(command.end(), arguments.begin(), arguments.end());
    return outputOf(command, environment());
}

std::string VirtualSwitch::ofctl(Arguments const &arguments) const {
    Arguments command{"ovs-ofctl", "--timeout=10"};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return outputOf(command, environment());
}

std::string VirtualSwitch::appctl(std::string const &command, Arguments const &arguments) {
    nlohmann::json const question{{"id", 0}, {"method", command}, {"params", arguments}};
    std::string const text = question.dump();
    std::string answer;
    bool sent = send(control_.number(), text.data(), text.size(), MSG_NOSIGNAL) ==
                static_cast<ssize_t>(text.size());
    std::array<char, 65536> piece{};
    while (sent && !nlohmann::json::accept(answer)) { // until all of it is there
        ssize_t const size = recv(control_.number(), piece.data(), piece.size(), 0);
        sent = size > 0;
        answer.append(piece.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
    }
    if (!sent) {
        throw std::runtime_error(command + ": the switch does not answer");
    }
    auto const reply = nlohmann::json::parse(answer);
    if (!reply["error"].is_null()) {
        throw std::runtime_error(command + ": " + reply["error"].get<std::string>());
    }
    return reply["result"].get<std::string>();
}

VirtualSwitch::Port &VirtualSwitch::portOf(std::string const &name) {
    if (ports_.count(name) == 0 && !fs::exists(path(name + ".pcap"))) {
        throw std::runtime_error("the switch has had no port " + name + " with a capture");
    }
    return ports_[name];
}

void VirtualSwitch::receive(std::string const &port, std::span<std::uint8_t const> frame) {
    constexpr std::uint64_t kQueue = 50; // the switch drops frames beyond 100
    Port &queue = portOf(port);
    if (queue.received == kQueue) {
        settle(port, queue);
    }
    if (queue.received == 0) {
        queue.handled = handledBy(port);
    }
    appctl("netdev-dummy/receive", {port, hexOf(frame)});
    ++queue.received;
}

void VirtualSwitch::settle() {
    for (auto &[name, port] : ports_) {
        settle(name, port);
    }
}

/// The thread that answers commands is the one that takes a frame from its queue, counts it and
/// sends what leaves, so a frame that is counted has been handled.
void VirtualSwitch::settle(std::string const &name, Port &port) {
    auto const deadline = steady_clock::now() + kPatience;
    auto const received = std::exchange(port.received, 0);
    while (received != 0 && handledBy(name) < port.handled + received) {
        if (steady_clock::now() > deadline) {
            throw std::runtime_error("the switch does not take the frames of " + name);
        }
        std::this_thread::sleep_for(std::chrono::microseconds(100));
    }
}

/// How many frames the switch has taken from the port's queue.
std::uint64_t VirtualSwitch::handledBy(std::string const &port) {
    constexpr std::string_view kCount = "RX packets:";
    std::string const text = appctl("dpctl/show", {"--statistics"});
    auto const entry = text.find(": " + port + " (");
    auto const count = text.find(kCount, entry);
    if (entry == std::string::npos || count == std::string::npos) {
        throw std::runtime_error("no port " + port + " in " + text);
    }
    return std::strtoull(text.c_str() + count + kCount.size(), nullptr, 10);
}

std::vector<VirtualSwitch::Frame> VirtualSwitch::sent(std::string const &port) {
    settle();
    Port &sender = portOf(port);
    readCapture(port, sender);
    return std::exchange(sender.left, {});
}

/// Reads the whole records that were added to the capture, which is of this machine's byte order.
void VirtualSwitch::readCapture(std::string const &name, Port &port) const {
    constexpr std::size_t kHeader = 24, kRecordHeader = 16, kSizeAt = 8;
    std::ifstream in(path(name + ".pcap"), std::ios::binary);
    if (port.read == 0) {
        port.read = kHeader;
    }
    in.seekg(static_cast<std::streamoff>(port.read));
    for (std::array<char, kRecordHeader> header{}; in.read(header.data(), header.size());) {
        std::uint32_t size = 0;
        std::memcpy(&size, header.data() + kSizeAt, sizeof size);
        Frame frame(size);
        if (!in.read(reinterpret_cast<char *>(frame.data()), static_cast<std::streamsize>(size))) {
            return; // not all of it is there yet
        }
        port.left.push_back(std::move(frame));
        port.read += kRecordHeader + size;
    }
}

void VirtualSwitch::portDown(std::string const &name) {
    appctl("netdev-dummy/set-admin-state", {name, "down"});
}

void VirtualSwitch::portUp(std::string const &name) {
    appctl("netdev-dummy/set-admin-state", {name, "up"});
}

} // namespace TestSupport
