// What a store costs that keeps a home's figures up to date: store_refreshes HOME CACHE-DIRECTORY
//
// Reads everything once, lets a hundred local and ten full refreshes find nothing changed, and a
// hundred more find one row of the database changed; says how much memory is held and how much
// processor time a refresh takes, children apart. The clock is turned by hand, the files are real.

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <sys/resource.h>

#include "platform/HandCrankedMainLoop.h"
#include "refresh/QuotaRefreshFallbackPolicy.h"
#include "refresh/UsageStore.h"

using namespace vantry;

namespace {

double seconds(const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

double processorTime(int who) {
    rusage used{};
    ::getrusage(who, &used);
    return seconds(used.ru_utime) + seconds(used.ru_stime);
}

double residentMiB() {
    long pages = 0;
    long resident = 0;
    std::ifstream("/proc/self/statm") >> pages >> resident;
    return static_cast<double>(resident) * 4096 / 1024 / 1024;
}

/// Says what `count` calls of `work` took, each.
template <class Work>
void measure(const char* what, int count, Work work) {
    const double own = processorTime(RUSAGE_SELF);
    const double children = processorTime(RUSAGE_CHILDREN);
    for (int i = 0; i < count; ++i) work();
    std::cout << what << ": " << (processorTime(RUSAGE_SELF) - own) / count * 1000
              << " ms of processor time each, children "
              << (processorTime(RUSAGE_CHILDREN) - children) / count * 1000 << " ms; resident "
              << residentMiB() << " MiB\n";
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) return 2;
    const std::filesystem::path home = std::filesystem::absolute(argv[1]);
    ::setenv("HOME", home.c_str(), 1);
    ::setenv("VANTRY_HOME_OVERRIDE", home.c_str(), 1);
    ::setenv("VANTRY_CACHE_OVERRIDE", argv[2], 1);

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
    measure("local refresh, nothing changed", 100, refreshLocal);
    measure("full refresh, nothing changed", 10, refreshAll);
    measure("local refresh, a row changed", 100, [&] {
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
