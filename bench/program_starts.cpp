#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fcntl.h>
#include <spawn.h>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr int runCount = 40;
constexpr int warmRunCount = 5;

struct Program {
    std::vector<char*> command;  // ends with a null pointer
    std::vector<double> milliseconds = {};
    long peakKilobytes = 0;
};

/// From the start to the end of the program, its output thrown away.
bool runOnce(Program& program) {
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    const auto start = std::chrono::steady_clock::now();
    pid_t child = -1;
    const int error = ::posix_spawn(&child, program.command[0], &actions, nullptr,
                                    program.command.data(), environ);
    int status = 1;
    rusage usage{};
    const bool ended = error == 0 && ::wait4(child, &status, 0, &usage) == child && status == 0;
    const auto time = std::chrono::steady_clock::now() - start;
    ::posix_spawn_file_actions_destroy(&actions);
    program.milliseconds.push_back(std::chrono::duration<double, std::milli>(time).count());
    program.peakKilobytes = std::max(program.peakKilobytes, usage.ru_maxrss);
    return ended;
}

double median(const Program& program) {
    return program.milliseconds[program.milliseconds.size() / 2];
}

void report(const char* name, const Program& program) {
    std::printf("  %-16s min %6.2f   median %6.2f   max %6.2f ms   peak memory %5ld KiB\n", name,
                program.milliseconds.front(), median(program), program.milliseconds.back(),
                program.peakKilobytes);
}

}  // namespace

/// Times whole runs of two programs in turn: EMPTY, and PROGRAM with its arguments.
int main(int argc, char** argv) {
    if (argc < 3) {
        std::fputs("usage: vantry-bench-starts EMPTY PROGRAM [ARGUMENT...]\n", stderr);
        return 2;
    }
    Program empty{.command = {argv[1], nullptr}};
    Program program{.command = std::vector<char*>(argv + 2, argv + argc + 1)};
    for (int i = -warmRunCount; i < runCount; ++i) {
        for (Program* each : {&empty, &program}) {
            if (i == 0) each->milliseconds.clear();
            if (!runOnce(*each)) {
                std::fprintf(stderr, "vantry-bench-starts: %s failed\n", each->command[0]);
                return 1;
            }
        }
    }
    for (Program* each : {&empty, &program}) std::ranges::sort(each->milliseconds);
    std::printf("%d runs of each, in turn:\n", runCount);
    report("empty program", empty);
    report("whole program", program);
    std::printf("  difference of the medians: %.2f ms\n", median(program) - median(empty));
}
