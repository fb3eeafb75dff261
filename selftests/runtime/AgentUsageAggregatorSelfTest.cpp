#include "runtime/AgentUsageAggregator.h"
#include "selftests/support/SelfTest.h"
#include "selftests/support/Words.h"

namespace vantry::AgentUsageAggregatorSelfTest {

namespace {

const Date now(1'799'409'600);  // 2027-01-08T12:00:00Z

// All that a runtime can hold. Rows stand in no order that a merge would give them.
UsageSnapshot everything() {
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
    return {.refreshedAt = now,
            .account = AccountInfo{.planType = "pro"},
            .accountIdentity = "A",
            .secondary = RateWindow{.usedPercent = 5},
            .credits = CreditsInfo{.balance = "1"},
            .officialLifetimeTokens = 7,  // kept from a read before, and not asked for again
            .officialLifetimeCapturedAt = now - 90,
            .cloudDailyBuckets = {{{.id = "2027-01-07"}}},
            .local = usage,
            .localUsageCapturedAt = now - 60,
            .localUsageIsStale = true,
            .localUsageReadStatus = LocalUsageReadStatus::staleFallback,
            .taskBoard = TaskBoard{.refreshedAt = now},
            .messages = said({"one", "one"}),
            .readerState = {.isLoading = true, .appServer = AppServerReadState::responded}};
}

void check(SelfTest& test) {
    const UsageSnapshot full = everything();
    const auto aggregateOf = [&](const UsageSnapshot& snapshot) {
        return AgentUsageAggregator::aggregate({{.snapshot = snapshot}},
                                               {.at = now, .reusingLocalUsageFrom = &full});
    };
    test.expect(aggregateOf(full) == full, "one runtime comes back with all it holds, in order");
    UsageSnapshot quotaOnly = full;
    quotaOnly.local.reset();
    quotaOnly.localUsageCapturedAt.reset();
    quotaOnly.localUsageIsStale = false;
    quotaOnly.localUsageReadStatus = LocalUsageReadStatus::notAttempted;
    test.expect(aggregateOf(quotaOnly) == full, "a quota-only refresh keeps the local usage");
    quotaOnly.localUsageReadStatus = LocalUsageReadStatus::unavailable;
    test.expect(aggregateOf(quotaOnly) == quotaOnly, "one that did read local records does not");
}

}  // namespace

bool run() {
    return SelfTest::run("agent usage aggregation", {check});
}

}  // namespace vantry::AgentUsageAggregatorSelfTest
