#include <chrono>
#include <future>
#include <thread>

#include "presentation/words/StatusWords.h"
#include "refresh/LocalUsageRefreshFallbackPolicy.h"
#include "refresh/StatisticsDay.h"
#include "selftests/Suites.h"
#include "selftests/refresh/UsageStoreWorld.h"

namespace vantry::UsageStoreSelfTest {

namespace {

using enum PendingRefreshWork;

constexpr auto lanes = {full, quota, localUsage, taskBoard};

void ask(UsageStore& store, PendingRefreshWork lane, bool queue) {
    if (lane == full) store.refresh({.queueIfBusy = queue});
    if (lane == quota) store.refreshQuota({.queueIfBusy = queue});
    if (lane == localUsage) store.refreshLocalUsage({.queueIfBusy = queue});
    if (lane == taskBoard) store.refreshTaskBoard({.queueIfBusy = queue});
}

/// Nothing comes of a store after its stop, whatever was under way.
void checkStop(SelfTest& test) {
    for (const auto running : lanes) {
        World world;
        auto store = world.startedStore();
        store->updateStatisticsTimeZone(fixedZone("Asia/Tokyo"));
        world.settle();
        ++world.revision;
        world.loop.advance(1);
        ask(*store, running, false);
        ask(*store, quota, true);
        store->stop();
        UsageStoreState stopped = store->state();
        test.expect(
            !stopped.statisticsTransition && store->pendingRefreshes() == PendingRefreshes{},
            "a stop forgets who waits, and takes its message away");
        world.read();
        world.loop.advance(90'000);
        stopped.isRefreshing = stopped.isRefreshingLocalUsage = false;
        test.expect(store->state() == stopped && world.background.empty(),
                    "a stopped store shows nothing new and reads nothing");
        store->start();
        world.settle();
        test.expect(todayOf(*store).value_or(0) > *stopped.snapshot.local->todayTokens,
                    "until it starts again");
        ask(*store, running, false);
        if (running == full) world.read();  // its result is on the way
        store.reset();
        world.read();
        world.loop.advance(1'000);
    }
}

void checkQueue(SelfTest& test) {
    // What becomes of the four lanes when they ask while one reads: w waits and is read, c waits
    // and is then covered by the full read, - is what is being read, and not waited for.
    const std::pair<PendingRefreshWork, std::string> cases[] = {
        {full, "wwcc"}, {quota, "wwww"}, {localUsage, "ww-w"}, {taskBoard, "www-"}};
    for (const auto& [running, fates] : cases) {
        for (const auto asking : lanes) {
            const char fate = fates[static_cast<std::size_t>(asking)];
            World world;
            const auto store = world.store();
            ask(*store, running, true);
            test.expect(world.background.empty(), "nothing is read before the start");
            store->start();
            world.settle();
            for (const auto lane : {running, asking}) ask(*store, lane, false);
            PendingRefreshes expected;
            test.expect(store->pendingRefreshes() == expected, "who does not wait is forgotten");
            for (int i = 0; i < 2; ++i) ask(*store, asking, true);
            if (fate != '-') expected.add(asking);
            test.expect(store->pendingRefreshes() == expected && world.background.size() == 1,
                        "a busy store queues each lane once");
            world.land();
            test.expect(store->pendingRefreshes() == PendingRefreshes{} &&
                            world.background.size() == (fate == 'w' ? 1U : 0U),
                        "and the end of the read starts it");
        }
    }
}

void checkTimers(SelfTest& test) {
    World world;
    const auto store = world.store();
    store->updateStatisticsTimeZone(fixedZone("Europe/London"));
    test.expect(!store->state().isSwitchingStatisticsTimeZone,
                "before the start nothing is switched");
    store->start();
    store->start();
    world.pass(299.5);
    test.expect(world.fullReads == 1 && world.localReads == 0 && world.boardReads == 0,
                "unchanged files are not read again");
    world.pass(1);
    test.expect(world.fullReads == 2 && todayOf(*store) == 1 && quotaNumber(*store) == 2,
                "a full refresh reads what the account says and keeps the rest");
    store->refresh({});
    world.settle();
    test.expect(todayOf(*store) == 3, "who asks for a refresh gets everything read");
    ++world.revision;
    world.pass(60);
    test.expect(std::ranges::any_of(localOf(*store)->dailyBuckets,
                                    [](const auto& day) { return day.id == "2025-11-20"; }),
                "beside the account's days");
    test.expect(world.localReads == 1 && world.boardReads == 1 &&
                    boardTokens(*store) == todayOf(*store) &&
                    store->state().snapshot.taskBoard->refreshedAt == world.readTimes.back(),
                "a change is found, and a board that was read alone has its tokens");
    world.pass(60);
    test.expect(world.localReads == 1 && world.boardReads == 1, "and it is found once");
    store->setLocalUsageForeground(true);
    ++world.revision;
    world.pass(15);
    test.expect(world.localReads == 2, "the foreground's cadence begins at once");
    world.changesMeanwhile = true;
    store->refresh({});
    world.settle();
    world.changesMeanwhile = false;
    world.pass(15);
    test.expect(world.localReads == 3, "what changed during a read is read once more");
    world.changesMeanwhile = true;
    store->refresh({});
    world.settle();
    world.changesMeanwhile = false;
    store->refresh({.reuseUnchangedSources = true});
    world.settle();
    test.expect(todayOf(*store) == quotaNumber(*store), "by whichever lane comes first");
    store->refreshLocalUsage({});
    store->refreshQuota({.queueIfBusy = true});
    store->refresh({.queueIfBusy = true});
    world.land();
    test.expect(store->pendingRefreshes() == PendingRefreshes{}, "a full read reads the quota too");
    world.settle();
    // A full read tells of the quota ahead, where there is one.
    for (const auto& [lane, told] :
         {std::pair{full, 2}, {quota, 1}, {localUsage, 1}, {taskBoard, 0}}) {
        ++world.revision;
        const int before = world.records;
        ask(*store, lane, false);
        world.settle();
        test.expect(world.records == before + told, "the desktop hears of each read of figures");
    }
    world.appServer = AppServerReadState::failed;
    const int before = world.records;
    store->refresh({});
    world.settle();
    test.expect(world.records == before + 1, "of a failed session nothing is told ahead");
    int told = 0;
    {
        const Subscription subscription = store->observe([&](const auto&) { ++told; });
        store->selectRuntime(RuntimeScope::codex);
        store->selectRuntime(RuntimeScope::codex);
        world.loop.runPosted();
    }
    store->selectRuntime(RuntimeScope::codex);
    world.loop.runPosted();
    test.expect(told == 1, "changes are told once a turn, to those who still listen");
}

/// Codex may hold its database for seconds, and nobody waits for it to see what is left.
void checkSlowFingerprint(SelfTest& test) {
    using std::chrono::milliseconds;
    World world("2026-05-01T12:00:00Z");
    std::promise<void> unlocked;
    world.beforeFingerprint = [lock = unlocked.get_future().share()] {
        lock.wait_for(milliseconds(10'000));
    };
    const auto store = world.store();
    store->start();
    world.read();  // what is kept
    std::jthread background([&world] { world.read(); });
    for (int i = 0; i < 500 && !quotaNumber(*store); ++i) {
        std::this_thread::sleep_for(milliseconds(10));
        world.loop.runPosted();
    }
    test.expect(quotaNumber(*store) && !localOf(*store), "the quota waits for no file");
    unlocked.set_value();
}

void checkRetries(SelfTest& test) {
    World world;
    world.appServer = AppServerReadState::failed;
    const auto store = world.startedStore();
    const auto readsAfter = [&](double seconds) {
        world.pass(seconds);
        return world.quotaReads;
    };
    test.expect(readsAfter(1) == 0 && readsAfter(1) == 1 && readsAfter(4) == 1 &&
                    readsAfter(1) == 2 && readsAfter(14) == 2 && readsAfter(1) == 3 &&
                    readsAfter(120) == 3,
                "2, 5 and 15 seconds after a cold failure, and no more");
    store->refresh({});
    world.settle();
    test.expect(readsAfter(2) == 4, "a full refresh starts the burst over");
    world.appServer = AppServerReadState::responded;
    test.expect(readsAfter(100) == 5 && quotaNumber(*store), "until there is a quota");
    const RuntimeUsageSnapshot good = *store->runtimeSnapshot(RuntimeScope::codex);
    const Date now = world.loop.now();
    RuntimeUsageSnapshot expired = good;
    expired.snapshot.secondary->resetsAt = now;
    RuntimeUsageSnapshot missing = expired;
    missing.snapshot.readerState.appServer = AppServerReadState::executableMissing;
    RuntimeUsageSnapshot loading = expired;
    loading.snapshot.readerState.isLoading = true;
    RuntimeUsageSnapshot plus = good;
    plus.snapshot.account->planType = " Plus\n";
    plus.snapshot.primary.reset();
    using Case =
        std::tuple<const char*, const RuntimeUsageSnapshot*, int, std::optional<double>, int>;
    for (const auto& [what, shown, count, delay, next] :
         {Case{"nothing is read yet", nullptr, 2, {}, 0},
          Case{"a quota ends the burst", &good, 2, {}, 0},
          Case{"an expired window is none", &expired, 1, 5.0, 2},
          Case{"the other window does not count", &plus, 0, 2.0, 1},
          Case{"the burst is over", &expired, 3, {}, 3}, Case{"nobody to ask", &missing, 2, {}, 0},
          Case{"not beside a read", &loading, 1, {}, 0}}) {
        QuotaRefreshRetryState state{.scheduledRetryCount = count};
        test.expect(state.nextDelay(shown, now) == delay && state.scheduledRetryCount == next,
                    what);
    }
}

/// The service cannot be had, and then it can.
void checkOffline(SelfTest& test) {
    for (const bool isKnown : {true, false}) {
        World world("2026-05-01T12:00:00Z");
        const auto store = world.store();
        store->start();
        world.settle();
        const auto quota = quotaNumber(*store);
        const auto shows = [&](bool official) {
            const UsageSnapshot& shown = store->state().snapshot;
            return quotaNumber(*store) == (official ? quota : std::nullopt) &&
                   shown.cloudDailyBuckets.has_value() == official &&
                   shown.cloudDailyUsageIsStale == official &&
                   shown.officialLifetimeIsStale == official;
        };
        world.appServer = AppServerReadState::failed;
        if (isKnown) world.signedIn = "A";
        store->refreshQuota({});
        world.settle();
        test.expect(todayOf(*store).has_value(), "the logs' own figures are there for everybody");
        store->refresh({.queueIfBusy = true});
        world.settle();
        test.expect(shows(isKnown), "what the account has stays, marked, if it is known to be his");
        store->refreshQuota({.queueIfBusy = true});
        world.settle();
        test.expect(shows(isKnown), "a failing quota read takes nothing away");
    }
    World world("2026-05-01T12:00:00Z");
    const auto store = world.store();
    store->start();
    world.settle();
    store->networkDidChange();
    world.pass(5);
    test.expect(world.fullReads == 1, "a network that changes under a good read is of no interest");
    world.appServer = AppServerReadState::failed;
    world.signedIn = "A";
    world.pass(301);
    world.appServer = AppServerReadState::failed;
    store->machineDidWake();
    world.pass(3);
    test.expect(world.fullReads == 3, "a machine that wakes reads");
    store->networkDidChange();
    world.appServer = AppServerReadState::responded;
    world.pass(15);
    test.expect(world.fullReads == 4 && !store->state().snapshot.cloudDailyUsageIsStale,
                "and reads once more when its network follows");
    world.pass(10);
    world.appServer = AppServerReadState::failed;
    store->refresh({});
    store->networkDidChange();
    world.land();
    world.appServer = AppServerReadState::responded;
    world.loop.advance(2.5);
    world.settle();
    test.expect(world.fullReads == 6,
                "a network that changes during a failing read is not forgotten");
}

void checkEarlyRecovery(SelfTest& test) {
    World world;
    world.used = 60;
    auto store = world.startedStore();
    world.used = 0;
    world.pass(300);
    store.reset();  // the program is started anew while a confirmation is awaited
    world.loop.advance(5);
    store = world.startedStore();
    std::vector<QuotaEarlyRecoveryEvent> events;
    const auto listenTo = [&](UsageStore& told) {
        return told.observeQuotaEarlyRecovery([&](const auto& event) { events.push_back(event); });
    };
    auto subscription = listenTo(*store);
    const int reads = world.quotaReads;
    world.pass(9);
    test.expect(world.quotaReads == reads && events.empty(), "the confirmation waits its time");
    world.pass(1.5);
    test.expect(world.quotaReads == reads + 1 && events.size() == 1 &&
                    events.at(0).previousRemainingPercent == 40,
                "a recovery is confirmed across a restart");
    world.used = 60;
    world.pass(300);
    world.account = "B";
    world.used = 0;
    store->refreshQuota({});
    world.land();
    test.expect(world.background.size() == 1 && store->state().isRefreshing,
                "another account pulls a full read behind the quota");
    world.pass(60);
    test.expect(events.size() == 1, "and is no recovery");
    world.used = 60;
    world.pass(300);
    store.reset();
    world.account = "C";
    world.used = 0;
    store = world.startedStore();
    subscription = listenTo(*store);
    world.pass(60);
    test.expect(events.size() == 1, "nor is one that changed while the program was away");

    world.used = 60;
    store->refreshQuota({});
    const auto other = world.startedStore();
    const auto otherSubscription = listenTo(*other);
    world.used = 0;
    world.pass(330);
    test.expect(events.size() == 2, "of two programs at once one announces a recovery");
}

/// A switch to a zone whose batch is at hand reads nothing that could confirm a recovery instead.
void checkConfirmationOverSwitch(SelfTest& test) {
    enum class Drops { nothing, quota, full };
    for (const auto drops : {Drops::nothing, Drops::quota, Drops::full}) {
        World world;
        world.used = 60;
        const auto store = world.startedStore();
        int events = 0;
        const Subscription subscription =
            store->observeQuotaEarlyRecovery([&](const auto&) { ++events; });
        world.loop.advance(1);
        world.used = 0;
        store->refreshQuota({});
        world.settle();
        if (drops == Drops::full) store->refreshLocalUsage({});
        if (drops != Drops::nothing) world.loop.advance(15);
        if (drops == Drops::full) {
            store->refresh({.queueIfBusy = true});
            world.land();
        }
        store->updateStatisticsTimeZone(fixedZone(world.systemZone));
        test.expect(!store->state().isSwitchingStatisticsTimeZone, "the batch is at hand");
        world.settle();
        world.pass(drops == Drops::nothing ? 16 : 2);
        test.expect(events == 1 && world.fullReads == (drops == Drops::full ? 2 : 1),
                    "a recovery that awaits its confirmation outlives a switch");
    }
}

void checkZones(SelfTest& test) {
    World world;
    const auto store = world.startedStore();
    const auto message = [&] {
        const auto& transition = store->state().statisticsTransition;
        return transition ? statisticsTransitionMessage(*transition, WidgetLanguage::zh) : "";
    };
    store->updateStatisticsTimeZone(fixedZone("Asia/Tokyo"));
    test.expect(
        message() == "正在切换到 Asia/Tokyo…" && store->state().isSwitchingStatisticsTimeZone,
        "a switch without a batch waits");
    world.settle();
    test.expect(message() == "已切换到 Asia/Tokyo" && todayOf(*store) == 2, "until it is read");
    world.loop.advance(2.4);
    test.expect(!message().empty(), "and says so");
    world.loop.advance(0.2);
    test.expect(message().empty(), "for two seconds and a half");
    // Back before anything newer was read of the account's usage.
    store->refreshQuota({});
    world.settle();
    const int reads = world.fullReads;
    const int records = world.records;
    store->updateStatisticsTimeZone({.selection = StatisticsTimeZoneSelection::system});
    store->updateStatisticsTimeZone(fixedZone("Asia/Tokyo"));
    test.expect(
        message() == "已切换到 Asia/Tokyo · 缓存" && todayOf(*store) == 2 &&
            quotaNumber(*store) == 3 && world.fullReads == reads && world.records == records + 1 &&
            store->state().multiRuntimeSnapshot.statisticsIdentity.now == world.loop.now() &&
            !store->state().isSwitchingStatisticsTimeZone,
        "back at once, with the newer quota");
    world.settle();
    store->updateStatisticsTimeZone({.selection = StatisticsTimeZoneSelection::system});
    world.settle();
    test.expect(world.store()->state().statisticsPreference.selection ==
                    StatisticsTimeZoneSelection::system,
                "the choice is kept");
    const auto earlier = todayOf(*store);
    const auto earlierQuota = quotaNumber(*store);
    store->refresh({});
    store->updateStatisticsTimeZone(fixedZone("Asia/Tokyo"));
    store->updateStatisticsTimeZone({.selection = StatisticsTimeZoneSelection::system});
    world.land();
    test.expect(todayOf(*store) == earlier && quotaNumber(*store) == earlierQuota,
                "a read from before a switch is dropped, also back home");
    world.settle();
    // The read that runs is of the zone before, and so is the one that the machine leaves.
    store->refresh({});
    store->updateStatisticsTimeZone(fixedZone("Asia/Kolkata"));
    world.land();
    test.expect(store->state().isSwitchingStatisticsTimeZone && world.background.size() == 1,
                "an old result ends no switch");
    world.settle();
    store->updateStatisticsTimeZone({.selection = StatisticsTimeZoneSelection::system});
    world.settle();
    store->refreshLocalUsage({});
    ++world.revision;
    world.systemZone = "Europe/London";
    world.land();
    test.expect(world.background.size() == 1 && store->state().isRefreshing,
                "a read of the zone that the machine left makes room for a full one");
    world.settle();
    world.local = Local::failed;
    store->updateStatisticsTimeZone(fixedZone("Asia/Tokyo"));
    world.settle();
    store->refreshLocalUsage({});
    world.settle();
    test.expect(!localOf(*store) && !store->state().snapshot.localUsageCapturedAt,
                "figures of another zone stand in for none");
}

/// Midnight is that of the zone that was switched to, and comes each day.
void checkMidnights(SelfTest& test) {
    for (const bool follows : {false, true}) {
        World world;
        const auto store = world.startedStore();
        if (follows) {
            world.systemZone = "Asia/Tokyo";
            store->systemTimeZoneDidChange();
        } else {
            store->updateStatisticsTimeZone(fixedZone("Asia/Tokyo"));
        }
        world.settle();
        test.expect(world.fullReads == 2, "another zone is read at once");
        for (const double left : {3 * 3'600.0, 86'400.0}) {
            store->refresh({});
            world.loop.advance(left - 0.1);
            const bool isThere = todayOf(*store).has_value();
            const int records = world.records;
            world.loop.advance(0.1);
            test.expect(isThere && !todayOf(*store) && world.records == records + 1,
                        "the day ends at midnight of its zone");
            const auto quota = quotaNumber(*store);
            world.land();
            test.expect(quotaNumber(*store) == quota && store->state().isRefreshing,
                        "nothing of a full read that crossed midnight is shown");
            world.settle();
            test.expect(todayOf(*store).has_value(), "the new day is read at once");
        }
    }
    World world("2026-05-02T03:59:30Z");
    const auto store = world.startedStore();
    world.systemZone = "Asia/Tokyo";  // and nobody tells
    world.loop.advance(30);
    test.expect(!localOf(*store) && quotaNumber(*store) && store->state().isRefreshing,
                "midnight leaves no figures of a zone that the machine has left, and reads");
}

void checkMidnight(SelfTest& test) {
    World world("2026-03-09T03:59:00Z");  // New York is at 23:59 of a day of 23 hours
    const auto store = world.startedStore();
    world.pass(50);
    world.local = Local::failed;
    ++world.revision;
    store->refreshLocalUsage({});
    world.loop.advance(9.9);
    test.expect(todayOf(*store) == 1, "the day goes on");
    world.loop.advance(0.2);
    const UsageSnapshot& shown = store->state().snapshot;
    test.expect(localOf(*store) != nullptr && !todayOf(*store) &&
                    !localOf(*store)->sevenDayTokens && !localOf(*store)->projectBoard &&
                    !boardTokens(*store) && localOf(*store)->lifetimeTokens == 1 &&
                    shown.localUsageIsStale &&
                    shown.localUsageReadStatus == Status::staleFallback &&
                    shown.localUsageCapturedAt == world.readTimes.at(1) && shown.taskBoard,
                "at midnight what belonged to the day is not known any more");
    world.land();
    test.expect(localOf(*store) != nullptr && !todayOf(*store) && store->state().isRefreshing,
                "a read that crossed midnight is read again");
    world.settle();
    test.expect(localOf(*store)->lifetimeTokens == 1 && shown.localUsageIsStale,
                "a failure leaves what is known");
    world.local = Local::complete;
    ++world.revision;
    world.pass(60);
    test.expect(todayOf(*store).value_or(0) > 1 && !shown.localUsageIsStale, "until it is read");
    const auto good = todayOf(*store);
    for (const Local failure : {Local::partial, Local::failed}) {
        world.local = failure;
        ++world.revision;
        world.pass(61);
        test.expect(
            todayOf(*store) == good && shown.localUsageIsStale &&
                shown.localUsageReadStatus == Status::staleFallback &&
                shown.localUsageCapturedAt == world.readTimes.at(static_cast<std::size_t>(*good)),
            "a read with less keeps the same day's details");
    }
}

void checkCache(SelfTest& test) {
    const Date now = at("2026-05-01T12:00:00Z");
    RuntimeUsageSnapshot codex;
    codex.snapshot.accountIdentity = "A";
    codex.snapshot.officialLifetimeTokens = 5;
    codex.snapshot.cloudDailyBuckets = {{.id = "2026-04-01", .label = "", .tokens = 1}};
    const auto batchOf = [&](const char* zone) {
        return MultiRuntimeUsageSnapshot{.runtimes = {codex},
                                         .statisticsIdentity = {.resolvedIdentifier = zone}};
    };
    using Case = std::tuple<const char*, std::function<void(RuntimeUsageSnapshot&)>, double, bool>;
    const Case cases[] = {
        {"as it was", [](auto&) {}, 180, true},
        {"too old", [](auto&) {}, 180.5, false},
        {"another account", [](auto& r) { r.snapshot.accountIdentity = "B"; }, 0, false},
        {"no account", [](auto& r) { r.snapshot.accountIdentity = ""; }, 0, false},
        {"another lifetime", [](auto& r) { r.snapshot.officialLifetimeTokens = 6; }, 0, false},
        {"a newer one", [&](auto& r) { r.snapshot.officialLifetimeCapturedAt = now; }, 0, false},
        {"other days", [](auto& r) { r.snapshot.cloudDailyBuckets->clear(); }, 0, false},
        {"stale days", [](auto& r) { r.snapshot.cloudDailyUsageIsStale = true; }, 0, false},
    };
    for (const auto& [what, change, later, isValid] : cases) {
        StatisticsSnapshotCache cache;
        cache.store(batchOf("GMT"), now);
        RuntimeUsageSnapshot published = codex;
        change(published);
        const auto valid = cache.validSnapshot(
            {.resolvedIdentifier = "GMT", .published = &published, .now = now + later});
        test.expect(valid.has_value() == isValid && cache.contains("GMT") == isValid, what);
    }
    StatisticsSnapshotCache cache;
    const Date evening = at("2026-05-01T23:59:59Z");
    cache.store(batchOf("GMT"), evening);
    test.expect(!cache.validSnapshot(
                    {.resolvedIdentifier = "GMT", .published = &codex, .now = evening + 1}),
                "yesterday's batch");
    for (const char* zone : {"GMT", "Asia/Tokyo", "Asia/Kolkata", "Europe/London"}) {
        cache.store(batchOf(zone), now);
    }
    cache.validSnapshot({.resolvedIdentifier = "GMT", .published = &codex, .now = now});
    cache.store(batchOf("Europe/Paris"), now);
    test.expect(cache.contains("GMT") && !cache.contains("Asia/Tokyo"),
                "the zone that was used longest ago goes");
    codex.snapshot.accountIdentity.reset();
    cache.store(batchOf("Asia/Seoul"), now);
    test.expect(!cache.contains("Asia/Seoul"), "a batch of nobody is not kept");
}

}  // namespace

bool run() {
    return SelfTest::run(
        "usage store", {checkQueue, checkTimers, checkSlowFingerprint, checkRetries, checkOffline,
                        checkEarlyRecovery, checkConfirmationOverSwitch, checkZones, checkMidnights,
                        checkMidnight, checkCache, checkStop});
}

}  // namespace vantry::UsageStoreSelfTest
