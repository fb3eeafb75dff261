#include "statistics/ModelUsageTrend.h"

#include <algorithm>
#include <map>

#include "platform/Calendar.h"

namespace vantry {

namespace {

constexpr std::size_t seriesOfTheirOwn = 8;

/// The tokens of one model, or of several, by day.
struct Band {
    std::vector<std::int64_t> tokensByDay;
    std::int64_t total = 0;

    void add(std::size_t day, std::int64_t tokens) {
        tokensByDay[day] += tokens;
        total += tokens;
    }
};

std::vector<Date> daysUpTo(Date captureDay, int count, const Calendar& calendar) {
    std::vector<Date> days;
    for (int back = count - 1; back >= 0; --back) {
        const auto start = calendar.startOfDayAdding(-back, captureDay);
        if (start) days.push_back(*start);
    }
    return days;
}

/// A batch laid out over the days of a trend.
struct Layout {
    std::map<std::string, Band> models;
    std::optional<Band> unknown;
    std::vector<bool> isRecorded;  ///< by day
    std::int64_t total = 0;
};

// No part of the batch is larger than its total: as long as that fits, every other sum does.
std::optional<Layout> layOut(const LocalModelUsage& usage, const std::vector<Date>& days,
                             const Calendar& calendar) {
    Layout layout{.isRecorded = std::vector<bool>(days.size())};
    const Band none{.tokensByDay = std::vector<std::int64_t>(days.size())};
    for (const LocalModelDayUsage& bucket : usage.buckets) {
        if (bucket.tokens < 0) return std::nullopt;
        const auto dayStart = calendar.startOfDay(bucket.dayStart);
        if (!dayStart) continue;
        const auto found = std::ranges::lower_bound(days, *dayStart);
        if (found == days.end() || *found != *dayStart) continue;
        if (__builtin_add_overflow(layout.total, bucket.tokens, &layout.total)) return std::nullopt;
        const auto day = static_cast<std::size_t>(found - days.begin());
        layout.isRecorded[day] = true;
        if (bucket.modelID) {
            layout.models.try_emplace(*bucket.modelID, none).first->second.add(day, bucket.tokens);
        } else {
            if (!layout.unknown) layout.unknown = none;
            layout.unknown->add(day, bucket.tokens);
        }
    }
    return layout;
}

ModelUsageSeries seriesOf(const Band& band, const std::vector<bool>& isRecorded) {
    ModelUsageSeries series{.totalTokens = band.total};
    for (std::size_t day = 0; day < isRecorded.size(); ++day) {
        series.tokensByDay.push_back(isRecorded[day] ? std::optional(band.tokensByDay[day])
                                                     : std::nullopt);
    }
    return series;
}

std::vector<ModelUsageSeries> makeSeries(const Layout& layout) {
    std::vector<ModelUsageSeries> models;
    for (const auto& [modelID, band] : layout.models) {
        ModelUsageSeries& series = models.emplace_back(seriesOf(band, layout.isRecorded));
        series.id = "model:" + modelID;
        series.modelID = modelID;
    }
    // Stable: models of equally many tokens stay in the order of their ids.
    std::ranges::stable_sort(models, std::greater{}, &ModelUsageSeries::totalTokens);
    if (models.size() > seriesOfTheirOwn) {
        Band others{.tokensByDay = std::vector<std::int64_t>(layout.isRecorded.size())};
        for (std::size_t rank = seriesOfTheirOwn; rank < models.size(); ++rank) {
            for (std::size_t day = 0; day < layout.isRecorded.size(); ++day) {
                others.add(day, models[rank].tokensByDay[day].value_or(0));
            }
        }
        models.resize(seriesOfTheirOwn);
        ModelUsageSeries& series = models.emplace_back(seriesOf(others, layout.isRecorded));
        series.id = "other";
        series.isOther = true;
    }
    if (layout.unknown) {
        models.push_back(seriesOf(*layout.unknown, layout.isRecorded));
        models.back().id = "unknown";
    }
    return models;
}

}  // namespace

std::optional<ModelUsageTrend> trend(const LocalModelUsage& usage,
                                     const ModelUsageTrendRequest& request) {
    if (!request.now.isFinite()) return std::nullopt;
    const auto zone = TimeZone::named(usage.timeZoneIdentifier);
    if (!zone) return std::nullopt;
    const Calendar calendar(*zone);
    const auto captureDay = calendar.startOfDay(usage.capturedAt);
    if (!captureDay) return std::nullopt;
    std::vector<Date> days = daysUpTo(*captureDay, static_cast<int>(request.range), calendar);
    const auto layout = layOut(usage, days, calendar);
    if (!layout) return std::nullopt;
    return ModelUsageTrend{.days = std::move(days),
                           .series = makeSeries(*layout),
                           .totalTokens = layout->total,
                           .unattributedTokens = layout->unknown ? layout->unknown->total : 0,
                           .capturedAt = usage.capturedAt};
}

}  // namespace vantry
