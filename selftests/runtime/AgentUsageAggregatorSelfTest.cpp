#include <array>
#include <memory>

#include "runtime/AgentUsageAggregator.h"
#include "runtime/CodexRuntimeProvider.h"
#include "runtime/LocalUsageAggregation.h"
#include "runtime/MultiRuntimeUsageReader.h"
#include "selftests/Suites.h"
#include "selftests/support/Moments.h"
#include "selftests/support/SelfTest.h"
#include "selftests/support/Words.h"

namespace vantry::AgentUsageAggregatorSelfTest {

using namespace AgentUsageAggregator;

namespace {

const Date now(1'799'409'600);  // 2027-01-08T12:00:00Z

// Rows stand in no order that a merge would give them.
LocalUsage unsortedUsage() {
    LocalUsage usage{.todayTokens = 3,
                     .dailyBuckets = {{.id = "d2"}, {.id = "d1"}},
                     .recentThreads = {{.id = "old", .updatedAt = now - 9}, {.id = "new"}},
                     .detailedUsage = DetailedUsage{.parsedFileCount = 1},
                     .usageTrend = UsageTrend{.activeDayCount = 5},
                     .projectBoard = ProjectBoard{},
                     .toolUsages = {{.name = "b", .callCount = 1}, {.name = "a", .callCount = 2}},
                     .modelUsage = LocalModelUsage{.buckets = {{.modelID = "b"}, {}}}};
    usage.projectBoard->allProjects = {{.id = "p", .tokens = 1}, {.id = "q", .tokens = 2}};
    usage.projectBoard->detailsByProjectID["p"].conversations = {{.id = "x"}, {.id = "a"}};
    return usage;
}

UsageSnapshot withLocal(LocalUsage usage, Date capturedAt) {
    return {.local = std::move(usage),
            .localUsageCapturedAt = capturedAt,
            .localUsageReadStatus = LocalUsageReadStatus::complete};
}

UsageSnapshot aggregateOf(const std::vector<UsageSnapshot>& snapshots,
                          const UsageSnapshot* previous = nullptr) {
    std::vector<RuntimeUsageSnapshot> runtimes;
    runtimes.reserve(snapshots.size());
    for (const UsageSnapshot& snapshot : snapshots) runtimes.push_back({.snapshot = snapshot});
    return aggregate(runtimes, {.at = now, .reusingLocalUsageFrom = previous});
}

void checkSingleRuntime(SelfTest& test) {
    UsageSnapshot full = withLocal(unsortedUsage(), now - 60);
    full.refreshedAt = now;
    full.secondary = RateWindow{.usedPercent = 5};
    full.officialLifetimeTokens = 7;  // kept from a read before, and not asked for again
    full.officialLifetimeCapturedAt = now - 90;
    full.cloudDailyBuckets = std::vector<DailyTokenBucket>{{.id = "2027-01-07"}};
    full.taskBoard = TaskBoard{.refreshedAt = now};
    full.messages = said({"one", "one"});
    full.readerState = {.isLoading = true, .appServer = AppServerReadState::responded};
    test.expect(aggregateOf({full}) == full, "one runtime comes back with all it holds, in order");
    UsageSnapshot none{.refreshedAt = now,
                       .localUsageCapturedAt = now,
                       .localUsageReadStatus = LocalUsageReadStatus::unavailable};
    test.expect(aggregateOf({none}) == none && !aggregateOf({}).local,
                "and one without local usage gets none");
}

void checkQuotaOnlyReuse(SelfTest& test) {
    UsageSnapshot previous = withLocal(unsortedUsage(), now - 3'600);
    previous.localUsageIsStale = true;
    previous.localUsageReadStatus = LocalUsageReadStatus::staleFallback;
    const UsageSnapshot quotaOnly{.primary = RateWindow{.usedPercent = 3}};
    const auto isKept = [&](const UsageSnapshot& result) {
        return result.local == previous.local && result.localUsageCapturedAt == now - 3'600 &&
               result.localUsageIsStale &&
               result.localUsageReadStatus == LocalUsageReadStatus::staleFallback;
    };
    test.expect(isKept(aggregateOf({quotaOnly, quotaOnly}, &previous)),
                "a quota-only refresh keeps the local usage as it was");
    const UsageSnapshot failed{.localUsageReadStatus = LocalUsageReadStatus::unavailable};
    const UsageSnapshot read = withLocal({.todayTokens = 1}, now);
    test.expect(!aggregateOf({quotaOnly, failed}, &previous).local &&
                    aggregateOf({quotaOnly, read}, &previous).local == read.local &&
                    !aggregateOf({quotaOnly}, &quotaOnly).local &&
                    !aggregateOf({}, &previous).local,
                "one that did read local records does not, whatever it found");

    const RuntimeLoadContext context{.now = now, .statistics = contextIn("GMT", now)};
    const auto provider = std::make_shared<CodexRuntimeProvider>(
        CodexUsageReader::ReadSources{.localUsage = [](const auto&) {
            return CodexUsageReader::LocalUsageRead{
                .result = {.readStatus = LocalUsageReadStatus::notAttempted}};
        }});
    const MultiRuntimeUsageReader reader{RuntimeProviderRegistry({provider}, environmentOf({}))};
    const auto batch = reader.load(context, {.previousRuntimes = {{.snapshot = previous}}});
    test.expect(isKept(batch.aggregate), "also when it comes through the reader");
}

}  // namespace

bool run() {
    return SelfTest::run("agent usage aggregation", {checkSingleRuntime, checkQuotaOnlyReuse});
}

}  // namespace vantry::AgentUsageAggregatorSelfTest
