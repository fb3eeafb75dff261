#include <fmt/format.h>
#include <stdexcept>

#include "presentation/status/WatchLines.h"
#include "selftests/Suites.h"
#include "selftests/refresh/UsageStoreWorld.h"

namespace vantry::WatchDaySelfTest {

namespace {

using namespace UsageStoreSelfTest;
constexpr double hour = 3'600;

/// A watch in its world, and what it shows and does.
struct Watch {
    SelfTest& test;
    World world{"2026-05-01T12:00:00Z"};  // New York has 8:00
    std::unique_ptr<UsageStore> store = world.store();
    int fullReads = 0;
    int quotaReads = 0;

    struct Expected {
        int fullReads = 0;  ///< that have begun meanwhile
        int quotaReads = 0;
        std::vector<std::string> line;  ///< its pieces; with a "-" in front one that is not there
    };
    /// Lets the time pass, and expects what has happened.
    void pass(const char* what, double seconds, const Expected& expected) {
        world.pass(seconds);
        const std::string line = WatchLines::lines(
            {.snapshot = store->state().multiRuntimeSnapshot, .now = world.loop.now()})[0];
        const int full = world.fullReads - std::exchange(fullReads, world.fullReads);
        const int quota = world.quotaReads - std::exchange(quotaReads, world.quotaReads);
        const std::string seen =
            fmt::format("{}: {} full and {} quota reads, {}", what, full, quota, line);
        test.expect(full == expected.fullReads && quota == expected.quotaReads, seen);
        for (const std::string& piece : expected.line) {
            const bool isWanted = !piece.starts_with('-');
            const bool isThere = line.find(isWanted ? piece : piece.substr(1)) != line.npos;
            test.expect(isThere == isWanted, fmt::format("{}, and \"{}\"", seen, piece));
        }
    }

    void setClock(double ahead) { world.loop.setWallClock(world.loop.now() + ahead); }
};

/// A day, and after each of its events both what may not be shown and what must have been done.
void checkDay(SelfTest& test) {
    Watch watch{test};
    World& world = watch.world;
    UsageStore& store = *watch.store;
    const std::string fresh = "-stale";
    world.used = 20;
    store.start();
    watch.pass("a start", 1, {1, 0, {"7d 80% left", "today 1 ", fresh}});
    ++world.revision;
    watch.pass("a minute of work", 61, {0, 0, {"today 2 ", "7d 80% left", fresh}});
    world.used = 30;
    watch.setClock(3 * hour);
    store.machineDidWake();
    watch.pass("a sleep, over a reset", 3, {1, 1, {"7d 70% left", fresh}});
    world.used = 35;
    watch.setClock(2 * hour);
    watch.pass("a clock that jumps ahead", 300, {1, 1, {"7d 65% left", fresh}});
    world.used = 36;
    ++world.revision;
    watch.setClock(-2 * hour);
    watch.pass("and is set back", 300, {1, 0, {"7d 64% left", "-today 2 ", fresh}});
    world.appServer = AppServerReadState::failed;
    world.signedIn = world.account;
    watch.pass("an hour offline", hour,
               {12,
                0,
                {"7d 64% left", "quota stale since 11:", "official days stale since 11:",
                 "account not read", "-today --"}});
    world.appServer = AppServerReadState::responded;
    world.used = 37;
    store.networkDidChange();
    watch.pass("the network's return", 3, {1, 0, {"7d 63% left", fresh, "-not read"}});
    world.appServer = AppServerReadState::failed;
    world.signedIn = "B";
    watch.pass("somebody else signs in, offline", 300,
               {1, 3, {"7d -- ", "account not read", fresh}});
    world.appServer = AppServerReadState::responded;
    world.account = "B";
    world.used = 90;
    watch.pass("and is read", 300, {1, 0, {"7d 10% left", fresh, "-not read"}});
    world.local = Local::failed;
    ++world.revision;
    watch.pass("a locked database", 61, {0, 0, {"local figures stale since 12:", "-today --"}});
    world.local = Local::complete;
    watch.pass("that is let go", 61, {0, 0, {fresh, "-today --"}});
    world.beforeFingerprint = [] { throw std::runtime_error("out of luck"); };
    watch.pass("a source that throws", 61, {0, 0, {"local figures stale since 12:", "-today --"}});
    world.beforeFingerprint = [] {};
    watch.pass("and stops doing so", 301, {1, 0, {fresh, "-today --"}});
    store.updateStatisticsTimeZone(fixedZone("Asia/Tokyo"));
    watch.pass("another zone", 1, {1, 0, {fresh, "-today --"}});
    store.updateStatisticsTimeZone(fixedZone(world.systemZone));
    watch.pass("and back", 1, {1, 0, {fresh, "-today --"}});
    world.used = 0;
    const std::string yesterday = fmt::format("-today {} ", *todayOf(store));
    watch.setClock(12 * hour);
    store.machineDidWake();
    watch.pass("a night", 3, {2, 0, {"7d 100% left", fresh, "-today --", yesterday}});
    world.local = Local::failed;
    ++world.revision;
    world.loop.setWallClock(at("2026-05-03T03:59:50Z"));
    watch.pass("a midnight that cannot be read", 20,
               {1, 1, {"today --", "7 days --", "local figures stale since"}});
    world.local = Local::complete;
    watch.pass("until it can", 61, {1, 0, {fresh, "-today --", "-7 days --"}});
}

}  // namespace

bool run() {
    return SelfTest::run("watch day", {checkDay});
}

}  // namespace vantry::WatchDaySelfTest
