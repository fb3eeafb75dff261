#include "lifecycle/Activation.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <string_view>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>
#include <utility>

#include "diagnostics/DebugLog.h"

namespace vantry {

namespace fs = std::filesystem;

namespace {

constexpr const char* socketName = "activation.socket";
constexpr std::string_view greeting = "vantry-activate ";
constexpr std::string_view answer = "heard\n";
constexpr std::size_t mostClients = 8;
constexpr double clientSeconds = 1;
constexpr std::size_t longestRequest = greeting.size() + longestActivationToken + 1;

using Clock = std::chrono::steady_clock;

/// An address has room for 107 bytes, and a data directory may be longer: the folder is named by
/// its descriptor.
sockaddr_un addressIn(const FileDescriptor& folder) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string path = "/proc/self/fd/" + std::to_string(folder.number()) + "/" + socketName;
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    return address;
}

FileDescriptor openFolder(const fs::path& directory) {
    return FileDescriptor(::open(directory.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
}

FileDescriptor newSocket() {
    return FileDescriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
}

bool isOfThisUser(const FileDescriptor& socket) {
    ucred peer{};
    socklen_t size = sizeof peer;
    return ::getsockopt(socket.number(), SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 &&
           peer.uid == ::geteuid();
}

enum class Place { empty, ourSocket, foreign };

Place lookedAt(const FileDescriptor& folder) {
    struct stat status {};
    if (::fstatat(folder.number(), socketName, &status, AT_SYMLINK_NOFOLLOW) != 0) {
        return errno == ENOENT ? Place::empty : Place::foreign;
    }
    return S_ISSOCK(status.st_mode) && status.st_uid == ::geteuid() ? Place::ourSocket
                                                                    : Place::foreign;
}

int millisecondsUntil(Clock::time_point end) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now());
    return static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, 60'000));
}

bool waitFor(const FileDescriptor& socket, short events, Clock::time_point end) {
    pollfd entry{socket.number(), events, 0};
    return ::poll(&entry, 1, millisecondsUntil(end)) > 0;
}

// One conversation; nothing where nobody listens, who may yet begin to.
std::optional<ActivationAnswer> ask(const FileDescriptor& folder, const std::string& token,
                                    Clock::time_point end) {
    const FileDescriptor socket = newSocket();
    const sockaddr_un address = addressIn(folder);
    if (!socket.isOpen() || ::connect(socket.number(), reinterpret_cast<const sockaddr*>(&address),
                                      sizeof address) != 0) {
        return std::nullopt;
    }
    if (!isOfThisUser(socket)) return ActivationAnswer::notOurs;
    const std::string request = std::string(greeting) + token + "\n";
    std::size_t sent = 0;
    while (sent < request.size()) {
        const ssize_t count =
            ::send(socket.number(), request.data() + sent, request.size() - sent, MSG_NOSIGNAL);
        if (count > 0) {
            sent += static_cast<std::size_t>(count);
        } else if (errno != EAGAIN && errno != EINTR) {
            return std::nullopt;
        } else if (!waitFor(socket, POLLOUT, end)) {
            return ActivationAnswer::noAnswer;
        }
    }
    std::string received;
    while (received.size() < answer.size()) {
        if (!waitFor(socket, POLLIN, end)) return ActivationAnswer::noAnswer;
        std::array<char, 64> bytes{};
        const ssize_t count = ::recv(socket.number(), bytes.data(), bytes.size(), 0);
        // Turned away because others were before: once more.
        if (count == 0) return std::nullopt;
        if (count > 0) received.append(bytes.data(), static_cast<std::size_t>(count));
        if (count < 0 && errno != EAGAIN && errno != EINTR) return std::nullopt;
    }
    return received == answer ? ActivationAnswer::heard : ActivationAnswer::notOurs;
}

bool isToken(std::string_view text) {
    return text.size() <= longestActivationToken && std::ranges::all_of(text, [](char c) {
               return static_cast<unsigned char>(c) > 0x20 && c != 0x7f;
           });
}

}  // namespace

std::string activationToken(const Environment& environment) {
    for (const char* name : {"XDG_ACTIVATION_TOKEN", "DESKTOP_STARTUP_ID"}) {
        const auto token = environment(name);
        if (token && !token->empty() && isToken(*token)) return *token;
    }
    return {};
}

ActivationAnswer requestActivation(const ActivationRequest& request) {
    constexpr std::chrono::milliseconds pause{20};
    const std::string token = isToken(request.token) ? request.token : std::string();
    const auto end = Clock::now() + std::chrono::duration_cast<Clock::duration>(
                                        std::chrono::duration<double>(request.timeout));
    while (true) {
        const FileDescriptor folder = openFolder(request.directory);
        const Place place = folder.isOpen() ? lookedAt(folder) : Place::empty;
        if (place == Place::foreign) return ActivationAnswer::notOurs;
        if (place == Place::ourSocket) {
            if (const auto told = ask(folder, token, end)) return *told;
        }
        if (Clock::now() + pause >= end) return ActivationAnswer::nobody;
        std::this_thread::sleep_for(pause);
    }
}

ActivationListener::ActivationListener(MainLoop& loop, const AppSingleInstanceGuard& guard,
                                       Handler handler)
    : loop_(loop), directory_(guard.directory()), handler_(std::move(handler)) {
    open();
    if (!isListening()) return;
    watch_ = loop_.watchReadable(socket_.number(), [this] { acceptClients(); });
}

ActivationListener::~ActivationListener() {
    if (isListening()) ::unlinkat(folder_.number(), socketName, 0);
}

void ActivationListener::open() {
    folder_ = openFolder(directory_);
    const Place place = folder_.isOpen() ? lookedAt(folder_) : Place::foreign;
    if (place == Place::foreign) {
        debugLog("activation: something else stands at the socket's place");
        return;
    }
    // The lock says that nobody of ours listens at it any more.
    if (place == Place::ourSocket) ::unlinkat(folder_.number(), socketName, 0);
    FileDescriptor socket = newSocket();
    const sockaddr_un address = addressIn(folder_);
    const bool isBound =
        socket.isOpen() && ::fchmod(socket.number(), S_IRUSR | S_IWUSR) == 0 &&
        ::bind(socket.number(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
        ::listen(socket.number(), mostClients) == 0;
    if (isBound) {
        socket_ = std::move(socket);
    } else {
        debugLog(std::string("activation: no socket: ") + std::strerror(errno));
    }
}

void ActivationListener::acceptClients() {
    while (true) {
        FileDescriptor socket(
            ::accept4(socket_.number(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
        if (!socket.isOpen()) return;
        forget();
        if (!isOfThisUser(socket) || clients_.size() >= mostClients) continue;
        Client& client = clients_.emplace_back();
        client.socket = std::move(socket);
        client.watch =
            loop_.watchReadable(client.socket.number(), [this, &client] { read(client); });
        client.timer = loop_.after(clientSeconds, [&client] {
            client.watch.reset();
            client.socket.close();
            client.isDone = true;
        });
    }
}

void ActivationListener::read(Client& client) {
    std::array<char, 1'024> bytes{};
    const ssize_t count = ::recv(client.socket.number(), bytes.data(), bytes.size(), 0);
    if (count < 0 && (errno == EAGAIN || errno == EINTR)) return;
    if (count > 0) client.received.append(bytes.data(), static_cast<std::size_t>(count));
    const std::size_t end = client.received.find('\n');
    if (count > 0 && end == std::string::npos && client.received.size() <= longestRequest) return;
    std::optional<std::string> token;
    if (end != std::string::npos && client.received.starts_with(greeting)) {
        token = client.received.substr(greeting.size(), end - greeting.size());
        if (!isToken(*token)) token.reset();
    }
    if (token) ::send(client.socket.number(), answer.data(), answer.size(), MSG_NOSIGNAL);
    client.timer.reset();
    client.watch.reset();
    client.socket.close();
    client.isDone = true;
    if (token) handler_(*token);
}

// Whoever is done goes at the next client: not from within its own watch.
void ActivationListener::forget() {
    clients_.remove_if([](const Client& client) { return client.isDone; });
}

}  // namespace vantry
