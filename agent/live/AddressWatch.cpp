#include "agent/live/AddressWatch.h"

#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <poll.h>
#include <sys/socket.h>

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <string_view>
#include <system_error>
#include <utility>

namespace UmoAgent {

namespace {

/// The kernel's messages to one reader are not longer, except when asked for more.
constexpr std::size_t kLongestMessage = 65536;

/// How many messages are received before the loop continues.
constexpr int kMessages = 64;

constexpr Vyr::Time kPause = std::chrono::seconds(1); // after a dump that failed

/// A record of a message, which may not be aligned.
template <class Record>
Record recordAt(std::string_view bytes) {
    Record record{};
    std::memcpy(&record, bytes.data(), std::min(bytes.size(), sizeof record));
    return record;
}

/// The attribute of that type after a message's record of `size` bytes; empty if there is none.
std::string_view attribute(std::string_view body, std::size_t size, unsigned type) {
    for (std::size_t at = NLMSG_ALIGN(size); at + sizeof(rtattr) <= body.size();) {
        auto const header = recordAt<rtattr>(body.substr(at));
        if (header.rta_len < sizeof header || header.rta_len > body.size() - at) {
            break;
        }
        if (header.rta_type == type) {
            return body.substr(at + sizeof header, header.rta_len - sizeof header);
        }
        at += RTA_ALIGN(header.rta_len);
    }
    return {};
}

std::string nameOf(std::string_view link) {
    std::string_view const name = attribute(link, sizeof(ifinfomsg), IFLA_IFNAME);
    return std::string(name.substr(0, name.find('\0')));
}

} // namespace

AddressWatch::AddressWatch(EventLoop &loop, std::function<void()> changed)
    : loop_(loop),
      changed_(std::move(changed)),
      socket_(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_ROUTE)),
      retry_([this] { readAgain(); }) {
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    address.nl_groups = RTMGRP_LINK | RTMGRP_IPV4_IFADDR;
    socklen_t size = sizeof address;
    auto *const generic = reinterpret_cast<sockaddr *>(&address);
    if (!socket_ || bind(socket_.number(), generic, size) != 0 ||
        getsockname(socket_.number(), generic, &size) != 0) {
        throw std::system_error(errno, std::generic_category(), "the kernel's addresses");
    }
    port_ = address.nl_pid;
    loop_.watch(socket_.number(), POLLIN, [this](short) { receive(); });
    ask(Dump::links);
}

AddressWatch::~AddressWatch() {
    loop_.unwatch(socket_.number());
}

/// Reads everything again. A dump is short, and changes are rare.
void AddressWatch::readAgain() {
    if (dump_ == Dump::none) {
        ask(Dump::links);
    } else {
        stale_ = true;
    }
}

/// Links come first, because addresses carry the index of their link only.
void AddressWatch::ask(Dump dump) {
    struct {
        nlmsghdr header;
        ifinfomsg about; // longer than an ifaddrmsg, which starts with the family as well
    } request{};
    request.header.nlmsg_len = sizeof request;
    request.header.nlmsg_type = dump == Dump::links ? RTM_GETLINK : RTM_GETADDR;
    request.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    request.header.nlmsg_seq = ++sequence_;
    request.about.ifi_family = dump == Dump::links ? AF_UNSPEC : AF_INET;
    if (::send(socket_.number(), &request, sizeof request, 0) < 0) {
        failDump();
        return;
    }
    dump_ = dump;
    if (dump == Dump::links) {
        stale_ = torn_ = false;
        names_.clear();
        dumped_.clear();
    }
}

void AddressWatch::receive() {
    alignas(nlmsghdr) std::array<char, kLongestMessage> bytes; // NOLINT(*-member-init): filled next
    for (int messages = 0; messages < kMessages; ++messages) {
        ssize_t const got = recv(socket_.number(), bytes.data(), bytes.size(), 0);
        if (got < 0 && errno == ENOBUFS) { // notifications were dropped
            readAgain();
            continue;
        }
        if (got <= 0) {
            return;
        }
        take({bytes.data(), static_cast<std::size_t>(got)});
    }
}

void AddressWatch::take(std::string_view bytes) {
    while (bytes.size() >= sizeof(nlmsghdr)) {
        auto const header = recordAt<nlmsghdr>(bytes);
        if (header.nlmsg_len < sizeof header || header.nlmsg_len > bytes.size()) {
            return;
        }
        std::string_view const body = bytes.substr(sizeof header, header.nlmsg_len - sizeof header);
        if (header.nlmsg_pid != port_) {
            takeNews(header.nlmsg_type, body);
        } else if (header.nlmsg_seq == sequence_ && dump_ != Dump::none) {
            torn_ = torn_ || (header.nlmsg_flags & NLM_F_DUMP_INTR) != 0;
            takeAnswer(header.nlmsg_type, body);
        }
        bytes.remove_prefix(std::min<std::size_t>(NLMSG_ALIGN(header.nlmsg_len), bytes.size()));
    }
}

/// Links change often in ways that do not matter here.
void AddressWatch::takeNews(unsigned type, std::string_view body) {
    auto const link = recordAt<ifinfomsg>(body);
    if (type == RTM_NEWADDR || type == RTM_DELADDR || type == RTM_DELLINK) {
        readAgain();
    } else if (type == RTM_NEWLINK) {
        auto const known = names_.find(link.ifi_index);
        if (dump_ != Dump::none || known == names_.end() || known->second != nameOf(body)) {
            readAgain();
        }
    }
}

/// The first address of a link that is not secondary counts.
void AddressWatch::takeAnswer(unsigned type, std::string_view body) {
    if (type == RTM_NEWLINK) {
        names_[recordAt<ifinfomsg>(body).ifi_index] = nameOf(body);
    } else if (type == RTM_NEWADDR) {
        auto const about = recordAt<ifaddrmsg>(body);
        auto local = attribute(body, sizeof about, IFA_LOCAL);
        if (local.empty()) {
            local = attribute(body, sizeof about, IFA_ADDRESS);
        }
        if (about.ifa_family == AF_INET && (about.ifa_flags & IFA_F_SECONDARY) == 0 &&
            local.size() == sizeof(std::uint32_t)) {
            Nexo::IpAddr const address(ntohl(recordAt<std::uint32_t>(local)));
            dumped_.try_emplace(static_cast<int>(about.ifa_index), address, about.ifa_prefixlen);
        }
    } else if (type == NLMSG_ERROR || (type == NLMSG_DONE && recordAt<int>(body) != 0)) {
        failDump();
    } else if (type == NLMSG_DONE) {
        finishDump();
    }
}

/// What came of it is not all there is.
void AddressWatch::failDump() {
    dump_ = Dump::none;
    retry_.runIn(kPause);
}

void AddressWatch::finishDump() {
    if (dump_ == Dump::links) {
        ask(Dump::addresses);
        return;
    }
    dump_ = Dump::none;
    Addresses read;
    for (auto const &[index, address] : dumped_) {
        auto const name = names_.find(index);
        if (name != names_.end()) {
            read.emplace(name->second, address);
        }
    }
    bool const tell = !torn_ && (!wereRead_ || read != addresses_);
    if (stale_ || torn_) {
        ask(Dump::links);
    }
    if (tell) {
        wereRead_ = true;
        addresses_ = std::move(read);
        changed_();
    }
}

} // namespace UmoAgent
