#include "refresh/FurtherReads.h"
#include "refresh/ReadQueue.h"
#include "refresh/UsageStoreState.h"
#include "selftests/Suites.h"
#include "selftests/refresh/UsageStoreWorld.h"

namespace vantry::StorePartsSelfTest {

namespace {

using namespace UsageStoreSelfTest;
using enum PendingRefreshWork;

void checkReadQueue(SelfTest& test) {
    ReadQueue queue;
    test.expect(queue.mayBegin(full, false) && !queue.waiting.takeNextPendingRefresh(),
                "nobody waits where nothing runs");
    for (const auto running : {full, quota, localUsage, taskBoard}) {
        queue.begin(running);
        std::string order;
        for (const auto asking : {taskBoard, localUsage, quota, full}) {
            test.expect(!queue.mayBegin(asking, false) && !queue.mayBegin(asking, true),
                        "one read runs at a time");
        }
        while (const auto next = queue.waiting.takeNextPendingRefresh()) {
            order += "fqlt"[static_cast<int>(*next)];
        }
        const std::string expected = running == localUsage  ? "fqt"
                                     : running == taskBoard ? "fql"
                                                            : "fqlt";
        test.expect(order == expected, "the most urgent first, and no lane behind its own timer");
    }
}

void checkSourceFingerprints(SelfTest& test) {
    const auto seen = [](std::uint64_t digest) {
        return SourceFingerprints::Fingerprint(CodexRefreshSourceFingerprint::Value{digest});
    };
    UsageSnapshot read{.local = LocalUsage{}, .localUsageReadStatus = Status::complete};
    SourceFingerprints known;
    known.rememberFullRead({seen(1), seen(2), seen(3)}, read);
    test.expect(known.completeLocal == seen(1) && !known.fastLocal && !known.taskBoard,
                "a read during which files changed has covered them for the full lane alone");
    read.localUsageReadStatus = Status::staleFallback;
    read.taskBoard.emplace();
    known.rememberFullRead({seen(4), seen(5), seen(4)}, read);
    test.expect(known.completeLocal == seen(1) && known.taskBoard == seen(5),
                "what could not be read is covered by nothing");
    known.forgetLocal();
    test.expect(!known.completeLocal && known.taskBoard, "the board is of every account");
}

void checkFurtherReads(SelfTest& test) {
    HandCrankedMainLoop loop(at("2026-05-01T12:00:00Z"));
    RuntimeUsageSnapshot shown;
    int quotas = 0, all = 0;
    FurtherReads reads({.loop = loop,
                        .shown = [&] { return &shown; },
                        .isAskingAccount = [] { return false; },
                        .readQuota = [&] { ++quotas; },
                        .readEverything = [&] { ++all; }});
    reads.machineDidWake();
    loop.advance(60);
    reads.start();
    shown.snapshot.primary = RateWindow{.resetsAt = loop.now() + 100};
    shown.snapshot.secondary = RateWindow{.resetsAt = loop.now() + 900};
    reads.awaitQuotaReset();
    loop.advance(100.5);
    test.expect(quotas == 0 && all == 0, "nothing is read before its time, or before the start");
    loop.advance(1);
    test.expect(quotas == 1, "the window that begins first is read");
    for (int i = 0; i < 3; ++i) {
        reads.machineDidWake();
        loop.advance(1.5);
    }
    test.expect(all == 1, "a machine that cannot sleep is read once");
    loop.advance(1);
    test.expect(all == 2, "and again after the pause that its waking ends");
    reads.stop();
    loop.advance(1'000);
    test.expect(quotas == 1 && all == 2, "nothing comes after the stop");
}

void checkChanges(SelfTest& test) {
    const MultiRuntimeUsageSnapshot before{.runtimes = {RuntimeUsageSnapshot{}}};
    using Change = std::function<void(MultiRuntimeUsageSnapshot&)>;
    const std::pair<Change, UsageStoreChanges> cases[] = {
        {[](auto&) {}, {}},
        {[](auto& b) { b.runtimes[0].quotaCapturedAt = Date(1); }, {.quota = true}},
        {[](auto& b) { b.runtimes[0].snapshot.cloudDailyUsageIsStale = true; }, {.local = true}},
        {[](auto& b) { b.runtimes[0].snapshot.taskBoard.emplace(); }, {.board = true}},
        {[](auto& b) { b.runtimes[0].snapshot.messages.emplace_back(); }, {.activity = true}},
        {[](auto& b) { b.statisticsIdentity.resolvedIdentifier = "Asia/Tokyo"; }, {.zone = true}},
        {[](auto& b) { b.runtimes.clear(); },
         {.quota = true, .local = true, .board = true, .activity = true}}};
    for (const auto& [change, expected] : cases) {
        MultiRuntimeUsageSnapshot after = before;
        change(after);
        test.expect(changesBetween(before, after) == expected, "observers are told what changed");
    }
}

/// What was kept is there before anything was read, and gives way to what is read.
void checkKept(SelfTest& test) {
    World world;
    RuntimeUsageSnapshot kept{.status = RuntimeMenuStatus::stale,
                              .quotaCapturedAt = world.loop.now() - 60};
    kept.snapshot.accountIdentity = "A";
    kept.snapshot.secondary = RateWindow{.usedPercent = 33, .resetsAt = world.loop.now() + 600};
    world.kept = kept;
    world.appServer = AppServerReadState::failed;
    world.signedIn = "A";
    const auto store = world.store();
    store->start();
    world.land();
    const auto used = [&] { return store->state().snapshot.secondary->usedPercent; };
    test.expect(world.fullReads == 0 && used() == 33, "a start shows what was kept");
    world.settle();
    test.expect(world.fullReads == 1 && used() == 33 &&
                    store->runtimeSnapshots()[0].status == RuntimeMenuStatus::stale,
                "for as long as nothing newer can be had");
    world.appServer = AppServerReadState::responded;
    world.pass(300);
    test.expect(used() < 1, "and no longer");
    const auto late = world.store();
    late->start();
    world.loop.setWallClock(world.loop.now() + 86'400);
    world.land();
    test.expect(late->runtimeSnapshots().empty(), "what was kept for another day is not shown");
}

}  // namespace

bool run() {
    return SelfTest::run("store parts", {checkReadQueue, checkSourceFingerprints, checkFurtherReads,
                                         checkChanges, checkKept});
}

}  // namespace vantry::StorePartsSelfTest
