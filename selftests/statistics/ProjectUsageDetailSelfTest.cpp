#include <fmt/format.h>

#include "selftests/Suites.h"
#include "selftests/support/Moments.h"
#include "selftests/support/SelfTest.h"
#include "statistics/ProjectLifetimeEstimate.h"
#include "statistics/ProjectTimeframe.h"
#include "statistics/ProjectUsageDetailAccumulator.h"
#include "statistics/UsageDimensionBreakdownAccumulator.h"

namespace vantry::ProjectUsageDetailSelfTest {

using namespace ProjectLifetimeEstimate;

namespace {

constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max();
constexpr double day = 86'400;

/// One project on the second of April 2026; clocks went forward in March.
struct Fixture {
    explicit Fixture(const char* zone) : context(contextIn(zone, at("2026-04-02T05:00:00Z"))) {}

    void add(const std::string& id, std::int64_t tokens, std::optional<Date> at,
             const std::string& title = "title") {
        accumulator.add(
            {.threadID = id, .tokens = tokens, .at = at, .windows = windows, .calendar = calendar});
        accumulator.addConversation({.threadID = id,
                                     .title = title,
                                     .isSubagent = title == "child",
                                     .tokens = tokens,
                                     .at = at,
                                     .windows = windows});
    }

    ProjectUsageDetail detail() const {
        return accumulator.makeDetail(windows.todayStart, calendar);
    }

    StatisticsContext context;
    Calendar calendar = context.calendar();
    StatisticsWindows windows = StatisticsWindows::of(context);
    ProjectUsageDetailAccumulator accumulator;
};

void checkWindows(SelfTest& test) {
    for (const char* zone : {"Asia/Shanghai", "Etc/UTC", "America/New_York", "Asia/Beirut"}) {
        Fixture batch(zone);
        const StatisticsWindows& windows = batch.windows;
        batch.add("none", 1, std::nullopt);
        batch.add("not-a-number", 1, Date(std::nan("")));
        batch.add("before-thirty-days", 1, windows.thirtyDayStart - 0.001);
        batch.add("thirty-day-edge", 2, windows.thirtyDayStart);
        batch.add("before-seven-days", 3, windows.sevenDayStart - 0.001);
        batch.add("seven-day-edge", 4, windows.sevenDayStart);
        batch.add("yesterday", 5, windows.todayStart - 0.001);
        batch.add("today", 6, windows.todayStart);
        batch.add("today-end", 7, windows.tomorrowStart - 0.001);
        batch.add("tomorrow", 1, windows.tomorrowStart);
        const ProjectUsageDetail detail = batch.detail();
        std::string days;
        for (const auto& bucket : detail.dailyBuckets) days += std::to_string(bucket.tokens) + " ";
        test.expect(detail.thirtyDayThreadCount == 6 && detail.sevenDayThreadCount == 4 &&
                        detail.todayThreadCount == 2 && detail.conversations.size() == 6,
                    std::string("window edges in ") + zone);
        test.expect(days == "2 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 3 4 0 0 0 0 5 13 " &&
                        detail.dailyBuckets[0].date == windows.thirtyDayStart &&
                        detail.dailyBuckets[29].id == batch.context.currentDayKey(),
                    std::string("thirty days, oldest first, in ") + zone);
    }
}

void checkConversations(SelfTest& test) {
    Fixture batch("Asia/Shanghai");
    const Date today = batch.windows.todayStart;
    batch.add("older-thread", 30, today - 3 * day, "  Older \n");
    batch.add("today-thread", 20, today + 60, "Today");
    batch.add("older-thread", 5, today - 10 * day, " \n");
    batch.add("today-thread", 15, today + 30, "Renamed");
    batch.add("expired-thread", 500, today - 40 * day, "Expired");
    batch.add("b", 35, today + 60, "child");
    batch.add("unused", 0, today);
    batch.add("b", 0, today - 60, "not its first sight");
    batch.add("full", most, today - day);
    batch.add("full", 9, today);
    const ProjectUsageDetail detail = batch.detail();
    const std::vector<ProjectConversationUsage> expected{
        {"full", "title", 9, most, most, today, false},
        {"b", "not its first sight", 35, 35, 35, today + 60, true},
        {"today-thread", "Renamed", 35, 35, 35, today + 60, false},
        {"older-thread", "Older", 0, 30, 35, today - 3 * day, false}};
    test.expect(detail.conversations == expected,
                "conversations by tokens, latest activity and id; one without usage is not listed");
    test.expect(detail.todayThreadCount == 4 && detail.sevenDayThreadCount == 5,
                "a thread counts by its nearest event, in any order of events");
    batch.accumulator.addToolCalls({{"shell", 2}, {"apply_patch", 3}, {"bad", -4}});
    batch.accumulator.addToolCalls({{"shell", 1}, {"view", 9}, {"bad", 0}});
    const std::vector<ProjectToolUsage> tools{
        {"view", "view", 9}, {"apply_patch", "apply_patch", 3}, {"shell", "shell", 3}};
    test.expect(batch.detail().toolUsages == tools, "tools by calls, then by name");
}

void checkBoard(SelfTest& test) {
    const Calendar calendar(*TimeZone::named("Asia/Shanghai"));
    const Date captured = at("2026-03-10T02:00:00Z");
    const Date today = at("2026-03-09T16:00:00Z");
    const Date first = today - 6 * day;
    ProjectBoard board;
    for (const Date at : {first - 1, first - 0.001, first, first + 1, today + 86'399, today + day})
        board.recentProjects.push_back({.tokens = 1, .firstActiveAt = at});
    board.recentProjects.push_back({.tokens = 0, .firstActiveAt = today});
    board.recentProjects.push_back({.tokens = 0});
    const auto count = [&](std::optional<Date> at) {
        return firstRecordedRecentProjectCount(board, {.capturedAt = at, .calendar = calendar});
    };
    test.expect(count(captured) == 3 && count(captured + day) == 2 && count(captured - day) == 4,
                "from six days before the capture day up to the next day, with tokens");
    test.expect(!count(std::nullopt), "missing batch capture is unavailable");
    board.recentProjects.push_back({.tokens = 1});
    test.expect(!count(captured), "an unknown first activity is not zero");

    board = {.recentProjects = {{.id = "a", .tokens = 2}},
             .allProjects = {{.id = "a", .tokens = 3}}};
    const std::vector<ProjectUsage> estimated{{.id = "a", .tokens = 4}};
    const auto tokens = [&](ProjectTimeframe frame, bool isEstimated) {
        const ProjectUsage* row =
            selectedProject(frame, {.id = "a",
                                    .board = board,
                                    .estimatedAllProjects = isEstimated ? &estimated : nullptr});
        return row == nullptr ? -1 : row->tokens;
    };
    test.expect(tokens(ProjectTimeframe::today, true) == -1 &&
                    tokens(ProjectTimeframe::recent, true) == 2 &&
                    tokens(ProjectTimeframe::all, true) == 4 &&
                    tokens(ProjectTimeframe::all, false) == 3,
                "only the all-time ranking has the estimate as its basis");
}

using Local = std::map<std::string, std::map<std::string, std::int64_t>>;

// Rows in falling order of their ids, for all but the project "removed".
std::optional<Result> estimate(const Local& local, const std::vector<DailyTokenBucket>& official,
                               std::int64_t lifetime) {
    std::vector<ProjectUsage> projects;
    for (const auto& [id, days] : local) {
        if (id != "removed") projects.insert(projects.begin(), {.id = id, .tokens = 1});
    }
    return make({.projects = projects,
                 .localDailyByProject = local,
                 .officialDailyBuckets = official,
                 .officialLifetimeTokens = lifetime});
}

// "a=61 b=31 rest=58", or "none".
std::string told(const std::optional<Result>& result) {
    if (!result) return "none";
    std::string text;
    for (const auto& row : result->projects)
        text += row.id + "=" + std::to_string(row.tokens) + " ";
    return text + "rest=" + std::to_string(result->unattributedTokens);
}

void checkEstimate(SelfTest& test) {
    const std::string day1 = "2026-01-01", day2 = "2026-01-02", day3 = "2026-01-03";
    const auto on = [](const std::string& key, std::int64_t tokens) {
        return DailyTokenBucket{.id = key, .tokens = tokens};
    };
    const Local even{{"a", {{day1, 1}}}, {"b", {{day1, 1}}}};
    using Case = std::tuple<Local, std::vector<DailyTokenBucket>, std::int64_t, std::string>;
    const Local twoDays{{"a", {{day1, 60}, {day2, 1}, {day3, 9999}}},
                        {"b", {{day1, 30}, {day2, 1}}}};
    const std::vector<Case> cases{
        {twoDays, {on(day2, 50), on(day1, 100)}, 150, "a=61 b=31 rest=58"},
        {{{"a", {{day1, 150}}}, {"b", {{day1, 50}}}}, {on(day1, 100)}, 100, "a=75 b=25 rest=0"},
        {even, {on(day1, 1)}, 1, "a=1 b=0 rest=0"},
        {even, {on(day1, 100)}, 99, "a=1 b=1 rest=97"},
        {even, {on(day1, 100), on(day1, 100)}, 200, "none"},
        {{{"a", {{day1, 200}}}}, {on(day1, 100)}, 99, "a=100 rest=0"},
        {even, {on(day1, -1)}, 1, "none"},
        {{{"a", {{day1, 1}}}, {"removed", {{day1, 1}}}}, {on(day1, 1)}, 1, "a=1 rest=0"},
        {even, {on(day1, 1)}, -1, "none"},
        {{{"a", {{day1, -1}}}, {"b", {{day1, 9}}}}, {on(day1, 8)}, 8, "b=8 a=0 rest=0"},
        {{{"a", {{day1, 7}}}, {"b", {{day1, 2}}}, {"c", {{day1, 1}}}},
         {on(day1, 7)},
         7,
         "a=5 b=1 c=1 rest=0"},
        {{{"a", {{day1, most}}}, {"b", {{day1, most}}}},
         {on(day1, most)},
         most,
         "a=4611686018427387904 b=4611686018427387903 rest=0"},
    };
    for (const auto& [local, official, lifetime, expected] : cases) {
        const std::string result = told(estimate(local, official, lifetime));
        test.expect(result == expected, fmt::format("the estimate {} is {}", result, expected));
    }
    test.expect(officialDayKey(at("2026-01-01T23:30:00Z")) == "2026-01-01" &&
                    officialDayKey(Date(-0.5)) == "1969-12-31" &&
                    officialDayKey(at("2024-02-29T00:00:00Z")) == "2024-02-29",
                "official days are those of UTC");
}
}  // namespace

bool run() {
    return SelfTest::run("project usage detail",
                         {checkWindows, checkConversations, checkBoard, checkEstimate});
}

}  // namespace vantry::ProjectUsageDetailSelfTest
