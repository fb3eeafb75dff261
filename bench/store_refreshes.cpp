// What a store costs that keeps a home's figures up to date:
//
//   vantry-bench-store HOME CACHE-DIRECTORY [RUNS]
//
// Reads everything once, lets so many local refreshes (100) and ten full ones find nothing changed,
// and as many local ones find one row of the database changed. Says of each kind the processor time
// (ms, median, lowest and highest), that of the children (ms, on average), how many were started,
// and the memory held. The clock is turned by hand, the files are real.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <dlfcn.h>
#include <filesystem>
#include <fstream>
#include <spawn.h>
#include <string>
#include <sys/resource.h>
#include <vector>

#include "platform/HandCrankedMainLoop.h"
#include "refresh/QuotaRefreshFallbackPolicy.h"
#include "refresh/UsageStore.h"

using namespace vantry;

namespace {

int childrenStarted = 0;

double ownProcessorTime() {
    timespec time{};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
}

double childrensProcessorTime() {
    rusage used{};
    ::getrusage(RUSAGE_CHILDREN, &used);
    return static_cast<double>(used.ru_utime.tv_sec + used.ru_stime.tv_sec) * 1e3 +
           static_cast<double>(used.ru_utime.tv_usec + used.ru_stime.tv_usec) / 1e3;
}

double residentMiB() {
    long pages = 0;
    long resident = 0;
    std::ifstream("/proc/self/statm") >> pages >> resident;
    return static_cast<double>(resident) * 4096 / 1024 / 1024;
}

/// Says what `count` calls of `work` took.
template <class Work>
void measure(const char* what, int count, Work work) {
    const double children = childrensProcessorTime();
    const int startedBefore = childrenStarted;
    std::vector<double> times;
    for (int i = 0; i < count; ++i) {
        const double before = ownProcessorTime();
        work();
        times.push_back(ownProcessorTime() - before);
    }
    std::ranges::sort(times);
    std::printf("%s: %.3f %.3f %.3f ms; children %.3f ms, %d started; resident %.1f MiB\n", what,
                times[times.size() / 2], times.front(), times.back(),
                (childrensProcessorTime() - children) / count, childrenStarted - startedBefore,
                residentMiB());
}

}  // namespace

/// Stands before the system's own, to count.
extern "C" int posix_spawn(pid_t* child, const char* path,
                           const posix_spawn_file_actions_t* actions,
                           const posix_spawnattr_t* attributes, char* const arguments[],
                           char* const environment[]) {
    static const auto real =
        reinterpret_cast<decltype(&posix_spawn)>(::dlsym(RTLD_NEXT, "posix_spawn"));
    ++childrenStarted;
    return real(child, path, actions, attributes, arguments, environment);
}

int main(int argc, char** argv) {
    if (argc < 3) return 2;
    const std::filesystem::path home = std::filesystem::absolute(argv[1]);
    ::setenv("HOME", home.c_str(), 1);
    ::setenv("VANTRY_HOME_OVERRIDE", home.c_str(), 1);
    ::setenv("VANTRY_CACHE_OVERRIDE", argv[2], 1);

    const int runs = argc > 3 ? std::max(1, std::atoi(argv[3])) : 100;

    HandCrankedMainLoop loop(Date::now());
    UsageStore store({.loop = loop,
                      .runInBackground = [](const auto& task) { task(); },
                      .sources = UsageStoreSources::real(),
                      .defaults = UserDefaults(std::filesystem::path(argv[2]), "bench"),
                      .systemTimeZone = [] { return TimeZone::system(); }});
    measure("first read", 1, [&] {
        store.start();
        loop.runPosted();
    });
    const auto refreshLocal = [&] {
        store.refreshLocalUsage({});
        loop.runPosted();
    };
    const auto refreshAll = [&] {
        store.refresh({.reuseUnchangedSources = true});
        loop.runPosted();
    };
    measure("second local refresh", 1, refreshLocal);
    measure("local refresh, nothing changed", runs, refreshLocal);
    measure("full refresh, nothing changed", 10, refreshAll);
    measure("local refresh, a row changed", runs, [&] {
        const std::string change = "sqlite3 '" + (home / ".codex/state_5.sqlite").string() +
                                   "' 'UPDATE threads SET updated_at = updated_at + 1 WHERE "
                                   "rowid = 1;'";
        if (std::system(change.c_str()) != 0) std::exit(1);
        refreshLocal();
    });
    const RuntimeUsageSnapshot shown = store.runtimeSnapshots().at(0);
    measure("merge of two snapshots", 100, [&] {
        QuotaRefreshFallbackPolicy::merge({.incoming = shown,
                                           .previous = &shown,
                                           .mayReusePreviousLocal = true,
                                           .now = loop.now()});
    });
    store.stop();
    return shown.snapshot.local ? 0 : 1;
}
