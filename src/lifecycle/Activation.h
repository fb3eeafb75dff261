#pragma once

#include <filesystem>
#include <functional>
#include <list>
#include <optional>
#include <string>

#include "lifecycle/AppSingleInstanceGuard.h"
#include "platform/Environment.h"
#include "platform/MainLoop.h"

namespace vantry {

/// The longest activation token that is passed on, in bytes.
inline constexpr std::size_t longestActivationToken = 4'096;

/// The token with which the desktop lets a program raise its window; empty without one, and where
/// it is too long or holds what no token does.
std::string activationToken(const Environment& environment);

/// How a second start fared with the running program.
enum class ActivationAnswer : std::uint8_t {
    heard,
    nobody,    ///< no socket, or nobody listens at it
    notOurs,   ///< what is there is no socket, or another user answers
    noAnswer,  ///< connected, and nothing came in time
};

struct ActivationRequest {
    std::filesystem::path directory;  ///< of the lock
    std::string token = {};
    double timeout = 1;  ///< seconds for all of it
};
/// Asks the running program to show itself. Blocks for `timeout` at most; a program that has its
/// lock and not yet its socket is waited for.
ActivationAnswer requestActivation(const ActivationRequest& request);

/// The running program's end: a socket beside the lock, of mode 0600. The loop's thread.
///
/// A client has a second and a few kilobytes, and there are at most eight at once: one that says
/// nothing or a novel costs itself alone. Other users are not answered.
class ActivationListener {
  public:
    using Handler = std::function<void(const std::string& token)>;

    /// The holder of the lock alone may listen: the socket of an earlier holder is put away. What
    /// is no socket, or somebody else's, stays, and nothing listens.
    ActivationListener(MainLoop& loop, const AppSingleInstanceGuard& guard, Handler handler);
    ActivationListener(const ActivationListener&) = delete;
    ActivationListener& operator=(const ActivationListener&) = delete;
    ~ActivationListener();

    bool isListening() const { return socket_.isOpen(); }

  private:
    struct Client {
        FileDescriptor socket;
        std::string received;
        MainLoop::WatchHandle watch;
        MainLoop::TimerHandle timer;
        bool isDone = false;
    };

    void open();
    void acceptClients();
    void read(Client& client);
    void forget();

    MainLoop& loop_;
    std::filesystem::path directory_;
    Handler handler_;
    FileDescriptor folder_;
    FileDescriptor socket_;
    MainLoop::WatchHandle watch_;
    std::list<Client> clients_;
};

}  // namespace vantry
