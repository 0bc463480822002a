#include "agent/console/CommandSocket.h"

#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <system_error>
#include <thread>

namespace UmoAgent {

namespace {

constexpr int kWaitingClients = 64;
constexpr mode_t kOwnerAlone = 0177; // as a mask
constexpr int kLockTries = 40;
constexpr std::chrono::milliseconds kLockPause{50};

[[noreturn]] void refuse(std::string const &path, std::string const &reason) {
    throw SocketError("socket " + path + ": " + reason);
}
[[noreturn]] void refuseByError(std::string const &path, int error) {
    refuse(path, std::generic_category().message(error));
}

sockaddr_un addressOf(std::string const &path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::size_t const most = sizeof address.sun_path - 1;
    if (path.empty() || path.size() > most) {
        refuse(path, "a path of 1 to " + std::to_string(most) + " bytes is expected");
    }
    std::copy(path.begin(), path.end(), static_cast<char *>(address.sun_path));
    return address;
}

Descriptor streamSocket(std::string const &path, int flags) {
    Descriptor made(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | flags, 0));
    if (!made) {
        refuseByError(path, errno);
    }
    return made;
}

/// 0, or the error.
int connectError(Descriptor const &socket, sockaddr_un const &address) {
    auto const *const generic = reinterpret_cast<sockaddr const *>(&address);
    return connect(socket.number(), generic, sizeof address) == 0 ? 0 : errno;
}

/// 0, or the error. Only the owner can ever connect: the mask is set before the file exists.
int bindError(Descriptor const &socket, sockaddr_un const &address) {
    auto const *const generic = reinterpret_cast<sockaddr const *>(&address);
    mode_t const before = umask(kOwnerAlone);
    int const error = bind(socket.number(), generic, sizeof address) == 0 ? 0 : errno;
    umask(before);
    return error;
}

/// Holds the lock of the folder: only one agent at a time checks whether a socket file is stale and
/// creates its own.
Descriptor lockedFolder(std::string const &path) {
    auto const parent = std::filesystem::path(path).parent_path();
    std::string const folder = parent.empty() ? "." : parent.string();
    Descriptor opened(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!opened) {
        refuse(path, folder + ": " + std::generic_category().message(errno));
    }
    for (int tries = 0; flock(opened.number(), LOCK_EX | LOCK_NB) != 0; ++tries) {
        if (tries == kLockTries) {
            refuse(path, folder + " is locked by another program");
        }
        std::this_thread::sleep_for(kLockPause);
    }
    return opened;
}

void removeStaleFile(std::string const &path, sockaddr_un const &address) {
    struct stat file {};
    if (lstat(path.c_str(), &file) != 0) {
        return;
    }
    if (!S_ISSOCK(file.st_mode)) {
        refuse(path, "there is another file of that name");
    }
    int const error = connectError(streamSocket(path, SOCK_NONBLOCK), address);
    if (error == ECONNREFUSED) {
        if (unlink(path.c_str()) != 0) {
            refuse(path,
                   "the old file cannot be replaced: " + std::generic_category().message(errno));
        }
    } else if (error == 0 || error == EAGAIN) {
        refuse(path, "another agent is answering there");
    } else {
        refuseByError(path, error);
    }
}

} // namespace

ListeningSocket::ListeningSocket(std::string path)
    : path_(std::move(path)), socket_(streamSocket(path_, SOCK_NONBLOCK)) {
    sockaddr_un const address = addressOf(path_);
    Descriptor const folder = lockedFolder(path_);
    removeStaleFile(path_, address);
    if (int const error = bindError(socket_, address); error != 0) {
        refuseByError(path_, error);
    }
    struct stat file {};
    if (listen(socket_.number(), kWaitingClients) != 0 || lstat(path_.c_str(), &file) != 0) {
        refuseByError(path_, errno);
    }
    inode_ = file.st_ino;
}

/// Another file may have replaced the socket; that one stays.
ListeningSocket::~ListeningSocket() {
    struct stat file {};
    if (lstat(path_.c_str(), &file) == 0 && S_ISSOCK(file.st_mode) && file.st_ino == inode_) {
        unlink(path_.c_str());
    }
}

Descriptor connectTo(std::string const &path, std::chrono::microseconds patience) {
    sockaddr_un const address = addressOf(path);
    Descriptor connected = streamSocket(path, 0);
    constexpr std::chrono::microseconds::rep kSecond = 1'000'000;
    timeval const limit{patience.count() / kSecond, patience.count() % kSecond};
    setsockopt(connected.number(), SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
    int error = EINTR; // connect is interrupted if the process is stopped and continued
    while (error == EINTR) {
        error = connectError(connected, address);
    }
    if (error == ECONNREFUSED || error == ENOENT) {
        throw NobodyAnswers("socket " + path + ": no agent is answering there");
    }
    if (error == EAGAIN) {
        refuse(path, "the agent accepts nobody");
    }
    if (error != 0) {
        refuseByError(path, error);
    }
    return connected;
}

} // namespace UmoAgent
