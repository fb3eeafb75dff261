#include "platform/MachineChanges.h"

#include <array>
#include <ctime>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <sys/inotify.h>
#include <sys/socket.h>
#include <unistd.h>

namespace vantry {

namespace {

double secondsOf(clockid_t clock) {
    timespec time{};
    ::clock_gettime(clock, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

}  // namespace

FileDescriptor openNetworkChanges() {
    FileDescriptor socket(
        ::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_ROUTE));
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    address.nl_groups = RTMGRP_IPV4_IFADDR | RTMGRP_IPV6_IFADDR | RTMGRP_IPV4_ROUTE;
    if (!socket.isOpen() ||
        ::bind(socket.number(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        return {};
    }
    return socket;
}

void takeNetworkChanges(const FileDescriptor& changes) {
    // What they say does not matter; a lost one is told by an error and is a change too.
    std::array<char, 8192> message{};
    while (::recv(changes.number(), message.data(), message.size(), MSG_DONTWAIT) > 0) {
    }
}

FileDescriptor openFolderChanges(const std::filesystem::path& folder) {
    FileDescriptor changes(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
    constexpr std::uint32_t events = IN_MOVED_TO | IN_CLOSE_WRITE | IN_DELETE;
    if (!changes.isOpen() ||
        ::inotify_add_watch(changes.number(), folder.c_str(), events | IN_ONLYDIR) < 0) {
        return {};
    }
    return changes;
}

void takeFolderChanges(const FileDescriptor& changes) {
    std::array<char, 4096> events{};
    while (::read(changes.number(), events.data(), events.size()) > 0) {
    }
}

double secondsSlept() {
    return secondsOf(CLOCK_BOOTTIME) - secondsOf(CLOCK_MONOTONIC);
}

}  // namespace vantry
