#include "agent/live/ControlSocket.h"

#include "agent/base/FileText.h"

#include <nlohmann/json.hpp>

#include <chrono>
#include <stdexcept>
#include <system_error>
#include <utility>
#include <variant>

namespace UmoAgent {

using nlohmann::json;

namespace {
constexpr Vyr::Time kLongestWait = std::chrono::milliseconds(800);
constexpr std::size_t kLongestPid = 64;
} // namespace

ControlSocket::ControlSocket(EventLoop &loop, std::string runDirectory, Callbacks callbacks)
    : loop_(loop),
      runDirectory_(std::move(runDirectory)),
      callbacks_(std::move(callbacks)),
      retries_(kLongestWait, [this] { connect(); }) {
    retries_.now();
}

/// The name of the control socket contains the number of the process, so that a process never
/// takes over the socket of an earlier one. Throws std::runtime_error.
std::string ControlSocket::findSocket() const {
    std::string const daemon = runDirectory_ + "/ovs-vswitchd";
    auto const text = readFileText(daemon + ".pid", kLongestPid);
    if (auto const *const unreadable = std::get_if<Unreadable>(&text)) {
        throw std::runtime_error(daemon + ".pid: " + unreadable->reason);
    }
    auto const &line = std::get<std::string>(text);
    return daemon + "." + line.substr(0, line.find('\n')) + ".ctl";
}

void ControlSocket::connect() {
    try {
        connection_.emplace(
            loop_, findSocket(),
            JsonRpc::Callbacks{[this](json const &message) { receive(message); },
                               [this](std::string const &reason) { lost(reason); }});
    } catch (std::system_error const &error) {
        lost(error.code().message());
        return;
    } catch (std::runtime_error const &error) {
        lost(error.what());
        return;
    }
    goneTold_ = false;
    callbacks_.came();
}

void ControlSocket::lost(std::string const &reason) {
    connection_.reset();
    waiting_.clear();
    retries_.later();
    if (!std::exchange(goneTold_, true)) {
        callbacks_.went(reason);
    }
}

void ControlSocket::request(std::string const &method, std::vector<std::string> const &params,
                            Answer answer) {
    if (connection_) {
        std::uint64_t const id = ++lastId_;
        waiting_.emplace(id, std::move(answer));
        connection_->send({{"id", id}, {"method", method}, {"params", params}});
    }
}

void ControlSocket::receive(json const &message) {
    retries_.reset();
    auto const waiting = waiting_.find(message.at("id").get<std::uint64_t>());
    if (waiting == waiting_.end()) {
        return;
    }
    Answer const answer = std::move(waiting->second);
    waiting_.erase(waiting);
    json const error = message.value("error", json());
    answer(error.is_null(), (error.is_null() ? message.at("result") : error).get<std::string>());
}

} // namespace UmoAgent
