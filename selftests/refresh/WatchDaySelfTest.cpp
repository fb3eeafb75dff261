#include <fmt/format.h>
#include <stdexcept>

#include "presentation/status/WatchLines.h"
#include "selftests/Suites.h"
#include "selftests/refresh/UsageStoreWorld.h"

namespace vantry::WatchDaySelfTest {

namespace {

using namespace UsageStoreSelfTest;
constexpr double hour = 3'600;

/// What happens in the world, how long it goes on, how many full and quota reads must have begun by
/// then, and what the line must say, pieces with a "-" in front excepted.
struct Step {
    const char* what;
    std::function<void(World&, UsageStore&)> happens;
    double seconds;
    int fullReads;
    int quotaReads;
    std::vector<std::string> line;
};

void setClock(World& world, double ahead) {
    world.loop.setWallClock(world.loop.now() + ahead);
}

void failAccount(World& world, bool fails) {
    world.appServer = fails ? AppServerReadState::failed : AppServerReadState::responded;
    world.signedIn = fails ? world.account : std::nullopt;
}

/// A day of a watch, and after each step both what it may not show and what it must have done.
void checkDay(SelfTest& test) {
    World world("2026-05-01T12:00:00Z");  // New York has 8:00
    const auto store = world.store();
    const auto line = [&] {
        return WatchLines::lines(
            {.snapshot = store->state().multiRuntimeSnapshot, .now = world.loop.now()})[0];
    };
    const std::string fresh = "-stale";
    const Step steps[] = {
        {"a start",
         [](World& w, UsageStore& s) {
             w.used = 20;
             s.start();
         },
         1,
         1,
         0,
         {"7d 80% left", "today 1 ", fresh}},
        {"a minute, in which Codex works",
         [](World& w, auto&) { ++w.revision; },
         61,
         0,
         0,
         {"today 2 ", "7d 80% left", fresh}},
        {"three hours of sleep",
         [](World& w, UsageStore& s) {
             setClock(w, 3 * hour);
             w.used = 30;
             s.machineDidWake();
         },
         3,
         1,
         1,
         {"7d 70% left", fresh}},
        {"a clock that jumps two hours ahead",
         [](World& w, auto&) {
             setClock(w, 2 * hour);
             w.used = 35;
         },
         300,
         1,
         1,
         {"7d 65% left", fresh}},
        {"and is set back",
         [](World& w, auto&) {
             setClock(w, -2 * hour);
             w.used = 36;
             ++w.revision;
         },
         300,
         1,
         0,
         {"7d 64% left", "-today 2 ", fresh}},
        {"an hour without a network",
         [](World& w, auto&) { failAccount(w, true); },
         hour,
         12,
         0,
         {"quota stale since 11:", "official days stale since 11:", "account not read",
          "-today --"}},
        {"which comes back",
         [](World& w, UsageStore& s) {
             failAccount(w, false);
             w.used = 37;
             s.networkDidChange();
         },
         3,
         1,
         0,
         {"7d 63% left", fresh, "-not read"}},
        {"somebody else signs in",
         [](World& w, auto&) {
             w.account = "B";
             w.used = 90;
         },
         300,
         1,
         0,
         {"7d 10% left", fresh, "-63%"}},
        {"a locked database",
         [](World& w, auto&) {
             w.local = Local::failed;
             ++w.revision;
         },
         61,
         0,
         0,
         {"local figures stale since 12:", "7d 10% left", "-today --"}},
        {"that is let go",
         [](World& w, auto&) { w.local = Local::complete; },
         61,
         0,
         0,
         {fresh, "-today --"}},
        {"sources that throw",
         [](World& w, auto&) {
             w.beforeFingerprint = [] { throw std::runtime_error("out of luck"); };
             ++w.revision;
         },
         61,
         0,
         0,
         {"local figures stale since 12:", "-today --"}},
        {"and stop doing so",
         [](World& w, auto&) { w.beforeFingerprint = [] {}; },
         301,
         1,
         0,
         {fresh}},
        {"another zone",
         [](World&, UsageStore& s) { s.updateStatisticsTimeZone(fixedZone("Asia/Tokyo")); },
         1,
         1,
         0,
         {fresh, "-today --"}},
        {"and back",
         [](World& w, UsageStore& s) { s.updateStatisticsTimeZone(fixedZone(w.systemZone)); },
         1,
         1,
         0,
         {fresh, "-today --"}},
        {"a night, at whose end the lid is opened",
         [](World& w, UsageStore& s) {
             setClock(w, 11 * hour);
             w.used = 0;
             s.machineDidWake();
         },
         3,
         1,
         1,
         {"7d 100% left", fresh, "-today --"}},
    };
    for (const Step& step : steps) {
        const int fullReads = world.fullReads;
        const int quotaReads = world.quotaReads;
        step.happens(world, *store);
        world.pass(step.seconds);
        const std::string shown = line();
        const std::string seen =
            fmt::format("{}: {} full and {} quota reads, {}", step.what,
                        world.fullReads - fullReads, world.quotaReads - quotaReads, shown);
        test.expect(world.fullReads - fullReads == step.fullReads &&
                        world.quotaReads - quotaReads == step.quotaReads,
                    seen);
        for (const std::string& piece : step.line) {
            const bool isWanted = !piece.starts_with('-');
            const bool isThere = shown.find(isWanted ? piece : piece.substr(1)) != shown.npos;
            test.expect(isThere == isWanted, seen + ", and \"" + piece + "\"");
        }
    }
}

}  // namespace

bool run() {
    return SelfTest::run("watch day", {checkDay});
}

}  // namespace vantry::WatchDaySelfTest
