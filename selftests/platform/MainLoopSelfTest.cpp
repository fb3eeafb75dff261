#include <functional>
#include <sys/eventfd.h>
#include <thread>

#include "platform/HandCrankedMainLoop.h"
#include "platform/PollMainLoop.h"
#include "selftests/Suites.h"
#include "selftests/support/SelfTest.h"

namespace vantry::MainLoopSelfTest {

namespace {

const Date start(1'800'000'000.3);
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

void checkOrder(SelfTest& test) {
    HandCrankedMainLoop loop(start);
    std::string log;
    const auto note = [&](const std::string& name) {
        return [&log, &loop, name] {
            log += name + "@" + std::to_string(std::lround(loop.now() - start)) + " ";
        };
    };
    const auto late = loop.after(10, note("late"));
    const auto dated = loop.at(start + 5, note("dated"));
    const auto even = loop.after(5, [&] {
        note("even")();
        loop.post(note("posted"));
    });
    const auto ticks = loop.every(4, note("tick"));
    const auto atOnce = loop.after(-1, note("once"));
    const auto never = loop.after(notANumber, note("never"));
    const auto neverDated = loop.at(Date(notANumber), note("never"));
    loop.post(note("first"));
    loop.advance(0);
    test.expect(log == "first@0 once@0 ", "what is due runs without time, saw " + log);
    log.clear();
    loop.advance(9);
    test.expect(log == "tick@4 dated@5 even@5 posted@5 tick@8 " && loop.now() == start + 9,
                "timers run in order of time, saw " + log);
    log.clear();
    loop.advance(3);
    test.expect(log == "late@10 tick@12 ", "and each once, saw " + log);
}

void checkWallClock(SelfTest& test) {
    HandCrankedMainLoop loop(start);
    std::string log;
    const auto dated = loop.at(start + 100, [&] { log += "date "; });
    const auto exact =
        loop.at(start + 100.1, [&] { log += loop.now() < start + 100.1 ? "early " : "reached "; });
    const auto spell = loop.after(100, [&] { log += "spell "; });
    loop.setWallClock(start - 50);
    loop.advance(120);
    test.expect(log == "spell ", "a clock set back holds up dates alone, saw " + log);
    loop.setWallClock(start + 99);
    loop.advance(2);
    test.expect(log == "spell date reached ", "dates follow the clock, saw " + log);
    const auto passed = loop.at(start + 5'000, [&] { log += "passed"; });
    loop.setWallClock(start + 9'000);
    test.expect(!log.ends_with("passed"), "to set a clock runs nothing");
    loop.advance(0);
    test.expect(log.ends_with("passed") && loop.now() == start + 9'000,
                "a date that the clock jumped over has been reached");
}

// Handlers that give up and make timers, the same on both loops. `turn` turns the loop until
// `finish` is called, the hand-cranked one for a second.
void checkHandles(SelfTest& test, MainLoop& loop, const std::function<void()>& turn,
                  const std::function<void()>& finish) {
    std::string log;
    MainLoop::TimerHandle own;
    MainLoop::TimerHandle made;
    int ticks = 0;
    own = loop.every(0.002, [&, name = std::string("own ")] {
        if (++ticks < 3) return;
        own.reset();
        made = loop.after(0, [&] {
            log += "old ";
            made = loop.after(0.01, [&] {
                log += "new ";
                finish();
            });
        });
        log += name;
    });
    MainLoop::TimerHandle victim;
    const auto killer = loop.after(0, [&] { victim.reset(); });
    victim = loop.after(0, [&] { log += "victim "; });
    turn();
    test.expect(log == "own old new " && ticks == 3,
                "timers are made and given up within handlers, saw " + log);
}

void checkPollLoop(SelfTest& test) {
    HandCrankedMainLoop cranked(start);
    checkHandles(
        test, cranked, [&] { cranked.advance(1); }, [] {});
    PollMainLoop loop;
    checkHandles(
        test, loop, [&] { loop.run(); }, [&] { loop.stop(); });

    std::string log;
    const auto never = loop.after(notANumber, [&] { log += "never "; });
    const auto neverDated = loop.at(Date(notANumber), [&] { log += "never "; });
    const auto past = loop.at(Date(-5), [&] { log += "past "; });
    const Date soon = Date::now() + 0.01;
    const auto dated = loop.at(soon, [&] {
        log += loop.now() < soon ? "early " : "dated ";
        loop.post([&] { log += "unreached "; });
        loop.post([&] { log += "left "; });
        loop.stop();
    });
    loop.run();
    test.expect(log == "past dated ", "a run ends after the handler that stops it, saw " + log);
    loop.stop();
    loop.run();
    test.expect(log == "past dated ", "a run that was stopped before does nothing");
    const auto end = loop.after(0.001, [&] { loop.stop(); });
    loop.run();
    test.expect(log == "past dated unreached left ", "and the next takes up the rest, saw " + log);

    // Work that posts itself again leaves timers their turn.
    std::function<void()> again = [&] { loop.post(again); };
    loop.post(again);
    const auto between = loop.after(0.001, [&] { loop.stop(); });
    loop.run();
    again = [] {};
}

void checkThreads(SelfTest& test) {
    PollMainLoop loop;
    constexpr int count = 1'000;
    int next = 0;
    bool isOrdered = true;
    bool isOnLoop = true;
    const auto mine = std::this_thread::get_id();
    std::thread poster([&] {
        for (int i = 0; i < count; ++i) {
            loop.post([&, i] {
                isOrdered &= next++ == i;
                isOnLoop &= std::this_thread::get_id() == mine;
                if (next == count) std::thread([&] { loop.stop(); }).join();
            });
        }
    });
    loop.run();
    poster.join();
    test.expect(next == count && isOrdered && isOnLoop,
                "what another thread posts runs here, in order");
}

void checkDescriptors(SelfTest& test) {
    PollMainLoop loop;
    FileDescriptor event(::eventfd(2, EFD_NONBLOCK | EFD_SEMAPHORE));
    int reads = 0;
    PollMainLoop::WatchHandle watch;
    watch = loop.watchReadable(event.number(), [&] {
        eventfd_t value = 0;
        ::eventfd_read(event.number(), &value);
        if (++reads == 2) loop.stop();
    });
    loop.run();
    test.expect(reads == 2 && ::eventfd_write(event.number(), 1) == 0,
                "a descriptor is told of as long as it has something to read");
    watch.reset();
    const auto end = loop.after(0.005, [&] { loop.stop(); });
    loop.run();
    test.expect(reads == 2, "and no longer than its handle lives");
}

}  // namespace

bool run() {
    return SelfTest::run(
        "main loop", {checkOrder, checkWallClock, checkPollLoop, checkThreads, checkDescriptors});
}

}  // namespace vantry::MainLoopSelfTest
