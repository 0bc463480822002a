#pragma once

#include "agent/base/Descriptor.h"
#include "tests/support/ChildProcess.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace TestSupport {

/// An Open vSwitch of the test's own: its database server and its switch process run as children,
/// with the datapath for tests, in a folder of their own under /tmp. It needs no rights, no network
/// and no other Open vSwitch, and several run side by side. Its end kills the processes and removes
/// the folder; if the test is killed, the processes die with it, and the next one that starts
/// removes the folder.
///
/// Every operation ends: it throws std::runtime_error with what Open vSwitch says if it fails, or
/// if there is no answer for 10 s.
class VirtualSwitch {
  public:
    using Arguments = std::vector<std::string>;
    /// From the destination MAC address on, without the checksum.
    using Frame = std::vector<std::uint8_t>;

    /// Starts both processes; there is no bridge yet.
    VirtualSwitch();

    /// Where the pid files and the control sockets are: what OVS_RUNDIR names.
    [[nodiscard]] std::string const &directory() const { return folder_.path; }
    /// How to connect to the database, `unix:PATH`.
    [[nodiscard]] std::string database() const { return "unix:" + directory() + "/db.sock"; }

    /// Adds bridge `name`. Settings are columns of its row, as ovs-vsctl takes them:
    /// `fail-mode=secure`, `other-config:hwaddr="02:00:00:00:00:01"` with these quotes.
    void bridge(std::string const &name, Arguments const &settings = {});

    /// Adds a port to a bridge, with one interface of that name. Settings are columns of the port's
    /// row, such as `tag=10`, and of the interface's, such as `ofport_request=7`. It carries frames
    /// without padding, and up to 1514 bytes unless `mtu_request` says more.
    ///
    /// An interface that is added by other means needs type `dummy` and the option
    /// `tx_pcap=DIRECTORY/NAME.pcap` for the operations below.
    void port(std::string const &bridge, std::string const &name, Arguments const &settings = {},
              Arguments const &interfaceSettings = {});

    /// Runs ovs-vsctl and returns its output. It waits until the switch has applied the change, if
    /// the switch runs.
    std::string vsctl(Arguments const &arguments);
    /// Runs ovs-ofctl and returns its output. Bridges are known by their names.
    std::string ofctl(Arguments const &arguments) const;
    /// What ovs-appctl would print for the command to the switch process; one that starts no
    /// program. REQUIRES: the switch runs.
    std::string appctl(std::string const &command, Arguments const &arguments = {});

    /// Lets the frame, of 14 bytes or more, come in by the port, be it up or down. The switch
    /// handles it later; see `settle`. Waits if the port has a full queue, so none is lost.
    void receive(std::string const &port, std::span<std::uint8_t const> frame);

    /// Waits until the switch has handled every frame that was received, and those that leave have
    /// left. That may not be true of what a controller or the switch itself does later. To be done
    /// before a port is removed.
    void settle();

    /// The frames that have left by the port since the last call, in their order, once all that was
    /// received is handled.
    std::vector<Frame> sent(std::string const &port);

    /// Takes the port's link away, or brings it back. The database and OpenFlow say so at once; the
    /// port stays in its bridge, which still sends frames by it.
    void portDown(std::string const &name);
    void portUp(std::string const &name);

    /// Kills the process as kill -9 does. Frames that had left can still be read; those that were
    /// waiting to be handled are lost.
    void killSwitch();
    /// Without its database the switch neither forwards nor speaks OpenFlow. What it receives waits
    /// until there is one.
    void killDatabase();
    /// Starts it again. If there is a database, the switch has made its bridges and ports before
    /// `startSwitch` returns. A switch that has outlived its database connects by itself: it tries
    /// 1 s after the loss, and then after another 2, 4, 8, 8... s.
    void startSwitch();
    void startDatabase();

  private:
    struct Folder {
        Folder();
        ~Folder();
        Folder(Folder const &) = delete;
        Folder &operator=(Folder const &) = delete;

        std::string path;
    };
    struct Port {
        std::size_t read = 0;       // how much of the capture
        std::vector<Frame> left;    // read, and not yet returned
        std::uint64_t handled = 0;  // frames that the switch had taken before those
        std::uint64_t received = 0; // that may still wait in the queue
    };

    [[nodiscard]] ChildProcess::Environment environment() const;
    [[nodiscard]] std::string path(std::string_view file) const;
    [[nodiscard]] UmoAgent::Descriptor start(std::optional<ChildProcess> &process,
                                             Arguments command, std::string const &socket) const;
    [[nodiscard]] Port &portOf(std::string const &name);
    [[nodiscard]] std::uint64_t handledBy(std::string const &port);
    void settle(std::string const &name, Port &port);
    void readCapture(std::string const &name, Port &port) const;

    Folder folder_;
    std::optional<ChildProcess> database_, switch_;
    UmoAgent::Descriptor control_; // connected to the switch process
    std::map<std::string, Port> ports_;
};

} // namespace TestSupport
