// Runs a program, its output thrown away, and says in one line what that cost, children included:
//
//   vantry-bench-cost PROGRAM [ARGUMENT...]
//
// wall time (ms), processor time (ms), peak memory of the largest process (KiB), and the bytes
// written to disks. The kernel counts those by the page, when a page becomes dirty, so that pipes
// and a home in memory count nothing.

#include <chrono>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <spawn.h>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>

namespace {

double milliseconds(const timeval& time) {
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_usec) / 1e3;
}

/// Of a process that has ended and was not waited for, those that it has waited for included; -1 if
/// the kernel does not say.
long long bytesWritten(pid_t process) {
    std::ifstream account("/proc/" + std::to_string(process) + "/io");
    for (std::string word; account >> word;) {
        long long value = 0;
        if (word == "write_bytes:" && account >> value) return value;
    }
    return -1;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fputs("usage: vantry-bench-cost PROGRAM [ARGUMENT...]\n", stderr);
        return 2;
    }
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    const auto start = std::chrono::steady_clock::now();
    pid_t child = -1;
    const int error = ::posix_spawnp(&child, argv[1], &actions, nullptr, argv + 1, environ);
    ::posix_spawn_file_actions_destroy(&actions);
    if (error != 0) {
        std::fprintf(stderr, "vantry-bench-cost: %s: %s\n", argv[1], std::strerror(error));
        return 1;
    }
    siginfo_t end{};
    ::waitid(P_PID, static_cast<id_t>(child), &end, WEXITED | WNOWAIT);
    const std::chrono::duration<double, std::milli> wall = std::chrono::steady_clock::now() - start;
    const long long written = bytesWritten(child);
    int status = 1;
    rusage used{};
    if (::wait4(child, &status, 0, &used) != child || status != 0) {
        std::fprintf(stderr, "vantry-bench-cost: %s failed\n", argv[1]);
        return 1;
    }
    std::printf("%.2f %.2f %ld %lld\n", wall.count(),
                milliseconds(used.ru_utime) + milliseconds(used.ru_stime), used.ru_maxrss, written);
}
