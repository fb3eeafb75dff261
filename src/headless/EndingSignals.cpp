#include "headless/EndingSignals.h"

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <system_error>
#include <unistd.h>

namespace vantry {

namespace {

constexpr std::array endingSignals{SIGINT, SIGTERM, SIGHUP};

sigset_t setOf(const auto& numbers) {
    sigset_t set;
    ::sigemptyset(&set);
    for (const int number : numbers) ::sigaddset(&set, number);
    return set;
}

}  // namespace

FileDescriptor takeEndingSignals(std::initializer_list<int> others) {
    sigset_t taken = setOf(others);
    for (const int signal : endingSignals) {
        struct sigaction inherited {};
        ::sigaction(signal, nullptr, &inherited);
        if (inherited.sa_handler != SIG_IGN) ::sigaddset(&taken, signal);
    }
    ::pthread_sigmask(SIG_BLOCK, &taken, nullptr);
    return FileDescriptor(::signalfd(-1, &taken, SFD_CLOEXEC | SFD_NONBLOCK));
}

void endBySignal(int signal) {
    ::signal(signal, SIG_DFL);
    const sigset_t one = setOf(std::array{signal});
    ::pthread_sigmask(SIG_UNBLOCK, &one, nullptr);
    ::raise(signal);
    std::_Exit(128 + signal);
}

ReadEndedBySignals::ReadEndedBySignals() {
    ::pthread_sigmask(SIG_BLOCK, nullptr, &before_);
    signals_ = takeEndingSignals();
    isOver_ = FileDescriptor(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    try {
        if (signals_.isOpen() && isOver_.isOpen()) {
            listener_ = std::jthread([this] { listen(); });
        }
    } catch (const std::system_error&) {
        // Nobody listens, and the signals end the process in their usual way.
    }
    if (!listener_.joinable()) ::pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

ReadEndedBySignals::~ReadEndedBySignals() {
    if (!listener_.joinable()) return;
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = ::write(isOver_.number(), &one, sizeof one);
    listener_.join();
    ::pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

void ReadEndedBySignals::listen() const {
    std::array<pollfd, 2> events{pollfd{.fd = signals_.number(), .events = POLLIN, .revents = 0},
                                 pollfd{.fd = isOver_.number(), .events = POLLIN, .revents = 0}};
    while (::poll(events.data(), events.size(), -1) < 0 && errno == EINTR) {
    }
    signalfd_siginfo info{};
    if (::read(signals_.number(), &info, sizeof info) != sizeof info) return;
    cancellation_.cancel();
    cancellation_.waitUntilNothingIsHeld(childrenEndingTime);
    endBySignal(static_cast<int>(info.ssi_signo));
}

}  // namespace vantry
