#pragma once

#include "Nexo/IpAddrWithMask.h"
#include "agent/base/Descriptor.h"
#include "agent/base/EventLoop.h"
#include "agent/base/Timer.h"

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>

namespace UmoAgent {

/// Follows the IPv4 addresses of the kernel's interfaces, in the process's network namespace. If
/// the kernel fails to list them, it is asked again after 1 s; until then the last ones hold.
class AddressWatch {
  public:
    /// The first address of each interface that has one, by the interface's name.
    using Addresses = std::map<std::string, Nexo::IpAddrWithMask>;

    /// `changed` is called from the loop when the addresses were read first, and when they differ.
    /// `loop` must outlive this. Throws std::system_error if the kernel refuses a socket.
    AddressWatch(EventLoop &loop, std::function<void()> changed);
    ~AddressWatch();
    AddressWatch(AddressWatch const &) = delete;
    AddressWatch &operator=(AddressWatch const &) = delete;

    [[nodiscard]] bool wereRead() const { return wereRead_; }
    [[nodiscard]] Addresses const &addresses() const { return addresses_; }

  private:
    enum class Dump { none, links, addresses };

    void readAgain();
    void ask(Dump dump);
    void receive();
    void take(std::string_view bytes);
    void takeNews(unsigned type, std::string_view body);
    void takeAnswer(unsigned type, std::string_view body);
    void finishDump();
    void failDump();

    EventLoop &loop_;
    std::function<void()> changed_;
    Descriptor socket_;
    std::uint32_t port_ = 0; // our address, which the answers carry
    std::uint32_t sequence_ = 0;
    Dump dump_ = Dump::none;
    Timer retry_;
    bool stale_ = false;               // something changed during the dump, perhaps behind it
    bool torn_ = false;                // something changed under it
    std::map<int, std::string> names_; // of the links, by index
    std::map<int, Nexo::IpAddrWithMask> dumped_; // by index
    Addresses addresses_;
    bool wereRead_ = false;
};

} // namespace UmoAgent
