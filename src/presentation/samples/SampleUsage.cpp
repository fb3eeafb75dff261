#include "presentation/samples/SampleUsage.h"

#include <array>
#include <fmt/format.h>
#include <map>

#include "official/HybridDailyUsage.h"
#include "statistics/HourlyUsageSeries.h"
#include "statistics/StatisticsWindows.h"
#include "statistics/UsageTrendCalculation.h"

namespace vantry {

namespace {

constexpr std::string_view longName =
    "a-project-whose-name-was-made-by-someone-who-never-had-to-read-it-in-a-list-项目名称很长很长";

struct SampleProject {
    std::string_view name;
    std::string_view path;
    std::int64_t share;  // of a hundred
};
constexpr std::array projects{
    SampleProject{"vantry-core", "/home/kim/work/vantry-core", 41},
    SampleProject{"billing-service", "/home/kim/work/billing-service", 27},
    SampleProject{"notes", "/home/kim/src/notes", 15},
    SampleProject{"infra", "/home/kim/work/infra", 10},
    SampleProject{"thesis-figures", "/home/kim/thesis/figures", 5},
    SampleProject{"", "", 2}};

constexpr std::array titles{"Refuse a batch only for what can pass", "Ring at 16 pixels",
                            "Why is my week smaller than the service's", "把夜间任务改为每周一次",
                            "Give the importer a time limit"};

/// The same every time, and without a pattern to the eye: 0...99.
std::int64_t dice(std::int64_t n) {
    return static_cast<std::int64_t>((static_cast<std::uint64_t>(n) * 2'654'435'761U >> 7U) % 100U);
}

std::int64_t tokensOfDay(const SampleScale& scale, std::int64_t daysAgo) {
    if (daysAgo >= scale.usedDays || (daysAgo > 0 && dice(daysAgo) < 18)) return 0;
    // Multiplied last, so that tiny figures stay figures.
    return std::max<std::int64_t>(scale.tokensOfDay / 100 * (20 + dice(daysAgo + 3) * 2),
                                  scale.tokensOfDay > 0 ? 1 : 0);
}

PricedTokenUsage priced(std::int64_t tokens) {
    const std::int64_t output = tokens / 12;
    const TokenBreakdown split{.inputTokens = tokens - output,
                               .cachedInputTokens = (tokens - output) / 2,
                               .outputTokens = output,
                               .reasoningOutputTokens = output / 3,
                               .totalTokens = tokens};
    return {.tokens = split, .estimatedCostUSD = static_cast<double>(tokens) * 2.1e-6};
}

std::string nameOf(const SampleProject& project, const SampleScale& scale) {
    if (!scale.hasLongNames || project.name.empty()) return std::string(project.name);
    return std::string(project.name) + "-" + std::string(longName);
}

std::string threadID(std::size_t n) {
    return fmt::format("019a0000-0000-7000-8000-0000000000{:02}", n);
}

ProjectUsageDetail detailOf(const SampleProject& project, const SampleScale& scale,
                            const StatisticsWindows& windows, const Calendar& calendar) {
    ProjectUsageDetail detail{
        .todayThreadCount = 2, .sevenDayThreadCount = 14, .thirtyDayThreadCount = 38};
    std::int64_t today = 0;
    std::int64_t week = 0;
    std::int64_t month = 0;
    for (int daysAgo = 29; daysAgo >= 0; --daysAgo) {
        const auto start = calendar.startOfDayAdding(-daysAgo, windows.todayStart);
        const std::int64_t tokens = tokensOfDay(scale, daysAgo) / 100 * project.share;
        detail.dailyBuckets.push_back(
            {.id = localDayKey(*start, calendar), .date = *start, .tokens = tokens});
        month += tokens;
        if (daysAgo < 7) week += tokens;
        if (daysAgo == 0) today = tokens;
    }
    for (std::size_t i = 0; i < titles.size(); ++i) {
        const auto part = [&](std::int64_t tokens) {
            return tokens / 4 / static_cast<std::int64_t>(i + 1);
        };
        detail.conversations.push_back({.id = threadID(i),
                                        .title = titles.at(i),
                                        .todayTokens = i < 2 ? part(today) : 0,
                                        .sevenDayTokens = part(week),
                                        .thirtyDayTokens = part(month),
                                        .lastActiveAt = windows.todayStart,
                                        .isSubagent = i == 4});
    }
    detail.toolUsages = {{.id = "exec_command", .name = "exec_command", .callCount = 4'812},
                         {.id = "apply_patch", .name = "apply_patch", .callCount = 1'204},
                         {.id = "view_image", .name = "view_image", .callCount = 96},
                         {.id = "spawn_agent", .name = "spawn_agent", .callCount = 41}};
    return detail;
}

ProjectBoard boardOf(const SampleScale& scale, const StatisticsWindows& windows,
                     const Calendar& calendar) {
    ProjectBoard board;
    board.todayProjects.emplace();
    std::int64_t number = 0;
    for (const SampleProject& project : projects) {
        ProjectUsage row{.id = project.path.empty() ? "none" : std::string(project.path),
                         .name = nameOf(project, scale),
                         .fullPath = std::string(project.path),
                         .lastActiveAt = windows.todayStart,
                         .firstActiveAt = number == 4 ? windows.sevenDayStart : windows.trendStart};
        const ProjectUsageDetail detail = detailOf(project, scale, windows, calendar);
        const auto add = [&](std::vector<ProjectUsage>& rows, std::size_t days,
                             std::int64_t threads) {
            row.tokens = 0;
            for (std::size_t i = 30 - days; i < 30; ++i)
                row.tokens += detail.dailyBuckets[i].tokens;
            row.threadCount = threads;
            row.estimatedCostUSD = static_cast<double>(row.tokens) * 2.1e-6;
            if (row.tokens > 0) rows.push_back(row);
        };
        add(*board.todayProjects, 1, 2);
        add(board.recentProjects, 7, 14 - 2 * number);
        add(board.allProjects, 30, 38 - 4 * number);
        for (const ProjectDailyUsageBucket& bucket : detail.dailyBuckets) {
            board.localDailyByProject[row.id][bucket.id] = bucket.tokens;
        }
        board.detailsByProjectID.emplace(row.id, detail);
        const UsageDimensionProject used{.id = row.id,
                                         .name = row.name,
                                         .eventCount = 300 - 50 * number,
                                         .threadCount = 12 - 2 * number,
                                         .lastActiveAt = windows.todayStart};
        board.dimensionBreakdown.projectsByToolID["exec_command"].push_back(used);
        board.dimensionBreakdown.projectsBySkillID["skill:release-notes"].push_back(used);
        ++number;
    }
    return board;
}

HourlyUsageSeries hoursOf(const SampleScale& scale, const StatisticsWindows& windows, Date now,
                          const Calendar& calendar) {
    std::vector<HourlyUsageSeriesCalculator::Sample> samples;
    for (int daysAgo = 0; daysAgo <= 7; ++daysAgo) {
        const auto start = calendar.startOfDayAdding(-daysAgo, windows.todayStart);
        constexpr std::array<std::int64_t, 10> shares{4, 8, 14, 16, 8, 12, 14, 12, 8, 4};
        std::int64_t day = tokensOfDay(scale, daysAgo);
        if (daysAgo == 0) {
            // What is used by noon is all there is of today.
            std::int64_t left = day;
            for (std::int64_t hour = 8; hour <= 12; ++hour) {
                const std::int64_t tokens = hour == 12 ? left : day / 5;
                samples.push_back({*start + static_cast<double>(hour) * 3'600 + 60, tokens});
                left -= tokens;
            }
            continue;
        }
        for (std::size_t i = 0; i < shares.size(); ++i) {
            samples.push_back(
                {*start + (8.0 + static_cast<double>(i)) * 3'600, day / 100 * shares.at(i)});
        }
    }
    return HourlyUsageSeriesCalculator::make(
        {.samples = samples, .now = now, .calendar = calendar});
}

LocalModelUsage modelsOf(const SampleScale& scale, const StatisticsWindows& windows, Date now,
                         const Calendar& calendar) {
    constexpr std::array models{"gpt-5.5-codex", "gpt-5.4", "gpt-5.4-mini", "gpt-5.3-codex",
                                "gpt-5.2",       "gpt-5",   "o4-mini",      "codex-mini",
                                "local-model",   "gpt-4.1"};
    LocalModelUsage usage{.capturedAt = now, .timeZoneIdentifier = calendar.zone().identifier()};
    for (int daysAgo = 29; daysAgo >= 0; --daysAgo) {
        const std::int64_t tokens = tokensOfDay(scale, daysAgo);
        if (tokens == 0) continue;
        const auto start = calendar.startOfDayAdding(-daysAgo, windows.todayStart);
        for (std::size_t i = 0; i <= models.size(); ++i) {
            const std::int64_t part = tokens / static_cast<std::int64_t>(2 << i);
            if (part == 0) continue;
            std::optional<std::string> model;
            if (i < models.size()) model = models.at(i);
            usage.buckets.push_back({.dayStart = *start, .modelID = model, .tokens = part});
        }
    }
    return usage;
}

}  // namespace

std::vector<DailyTokenBucket> sampleOfficialDays(const SampleScale& scale,
                                                 const StatisticsContext& statistics) {
    const StatisticsWindows windows = StatisticsWindows::of(statistics);
    const Calendar calendar = statistics.calendar();
    std::vector<DailyTokenBucket> days;
    for (int daysAgo = 190; daysAgo > 0; --daysAgo) {
        // Two days that nobody knows.
        if (daysAgo == 19 || daysAgo == 80) continue;
        const auto start = calendar.startOfDayAdding(-daysAgo, windows.todayStart);
        days.push_back(
            DailyTokenBucket::of(localDayKey(*start, calendar), tokensOfDay(scale, daysAgo)));
    }
    return days;
}

LocalUsage sampleUsage(const SampleScale& scale, const StatisticsContext& statistics) {
    const StatisticsWindows windows = StatisticsWindows::of(statistics);
    const Calendar calendar = statistics.calendar();
    std::map<std::string, PricedTokenUsage> days;
    std::int64_t total = 0;
    std::int64_t week = 0;
    for (int daysAgo = 190; daysAgo >= 0; --daysAgo) {
        const auto start = calendar.startOfDayAdding(-daysAgo, windows.todayStart);
        const std::int64_t tokens = tokensOfDay(scale, daysAgo);
        days.emplace(localDayKey(*start, calendar), priced(tokens));
        total += tokens;
        if (daysAgo < 7) week += tokens;
    }
    const std::int64_t today = tokensOfDay(scale, 0);
    const HourlyUsageSeries hours = hoursOf(scale, windows, statistics.now(), calendar);
    LocalUsage usage{.lifetimeTokens = total,
                     .todayTokens = today,
                     .sevenDayTokens = week,
                     .threadCount = 148,
                     .lastUpdatedAt = statistics.now()};
    usage.detailedUsage = DetailedUsage{
        .today = priced(today),
        .sevenDay = priced(week),
        .month = priced(week * 3),
        .lifetime = priced(total),
        .parsedFileCount = 148,
        .tokenEventCount = 20'480,
        .todayHourlyBuckets = hours.todayHourlyBuckets,
        .previousSevenDayAverageCumulativeBuckets = hours.previousSevenDayAverageCumulativeBuckets};
    usage.usageTrend = CodexUsageReader::makeUsageTrend({.dailyUsage = days,
                                                         .dayStart = windows.todayStart,
                                                         .sevenDayStart = windows.sevenDayStart,
                                                         .trendStart = windows.trendStart,
                                                         .monthStart = windows.monthStart,
                                                         .calendar = calendar});
    for (const UsageDayBucket& bucket : usage.usageTrend->dayBuckets) {
        usage.dailyBuckets.push_back(
            DailyTokenBucket::of(bucket.id, bucket.usage.tokens.visibleTotalTokens()));
    }
    usage.projectBoard = boardOf(scale, windows, calendar);
    usage.modelUsage = modelsOf(scale, windows, statistics.now(), calendar);
    usage.toolUsages = {
        {.id = "exec_command", .name = "exec_command", .category = "shell", .callCount = 9'120},
        {.id = "apply_patch", .name = "apply_patch", .category = "edit", .callCount = 2'410},
        {.id = "view_image", .name = "view_image", .category = "view", .callCount = 188}};
    usage.skillUsages = {{.id = "skill:release-notes",
                          .name = "release-notes",
                          .path = "/home/kim/.codex/skills/release-notes/SKILL.md",
                          .sourceLabel = "Codex",
                          .loadCount = 31,
                          .threadCount = 12,
                          .staticTokenEstimate = 1'840,
                          .staticByteCount = 7'360,
                          .lastLoadedAt = windows.todayStart + 30'000},
                         {.id = "skill:pdf",
                          .name = "pdf",
                          .path = "/home/kim/.codex/skills/pdf/SKILL.md",
                          .sourceLabel = "Codex",
                          .loadCount = 4,
                          .threadCount = 3}};
    return usage;
}

TaskBoard sampleTaskBoard(const SampleScale& scale, Date now) {
    const auto item = [&](std::size_t n, TaskColumnKind kind, double secondsAgo) {
        TaskItem row{.id = threadID(n),
                     .title = titles.at(n % titles.size()),
                     .detail = nameOf(projects.at(n % projects.size()), scale),
                     .updatedAt = now - secondsAgo,
                     .kind = kind,
                     .threadID = threadID(n)};
        if (scale.hasLongNames) row.title += ", " + std::string(longName);
        if (kind == TaskColumnKind::active) {
            row.tokens = scale.tokensOfDay / static_cast<std::int64_t>(n + 2);
        }
        return row;
    };
    using Kind = TaskColumnKind;
    TaskBoard board{.refreshedAt = now};
    board.columns = {
        {.id = Kind::active, .items = {item(0, Kind::active, 40), item(1, Kind::active, 1'500)}},
        {.id = Kind::pending,
         .items = {item(2, Kind::pending, 9'000), item(3, Kind::pending, 90'000),
                   item(4, Kind::pending, 800'000)}},
        {.id = Kind::scheduled,
         .items = {{.id = "automation-nightly",
                    .title = "Nightly triage",
                    .detail = "FREQ=DAILY;BYHOUR=2",
                    .updatedAt = now - 400'000,
                    .kind = Kind::scheduled}}},
        {.id = Kind::done}};
    for (TaskColumn& column : board.columns) {
        column.count = static_cast<std::int64_t>(column.items.size());
    }
    return board;
}

}  // namespace vantry
