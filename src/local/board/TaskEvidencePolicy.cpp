#include "local/board/TaskEvidencePolicy.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace vantry::TaskEvidencePolicy {

namespace {

bool isObserved(Date date, Date now) {
    return date.isFinite() && date <= now;
}

// Every time that is one comes after this, so that the order is total.
double activityRank(const TaskItem& item) {
    if (item.updatedAt && item.updatedAt->isFinite()) return item.updatedAt->secondsSince1970();
    return -std::numeric_limits<double>::infinity();
}

}  // namespace

std::optional<Date> dateFromEpoch(double value) {
    constexpr double lastSecond = 10'000'000'000;
    if (!std::isfinite(value) || value <= 0) return std::nullopt;
    return Date(value > lastSecond ? value / 1000.0 : value);
}

std::optional<Date> latestObservedActivity(const RecordedTimes& times) {
    std::optional<Date> latest;
    for (const auto& date : {times.recencyAt, times.updatedAt}) {
        if (date && isObserved(*date, times.now) && (!latest || *date > *latest)) latest = date;
    }
    return latest;
}

TaskColumnKind column(const Activity& activity) {
    const auto& date = activity.lastActivityAt;
    const bool isRecent =
        date && isObserved(*date, activity.now) && activity.now - *date <= recentActivityInterval;
    return isRecent ? TaskColumnKind::active : TaskColumnKind::pending;
}

std::string_view chip(TaskColumnKind kind, bool hasObservedActivity) {
    switch (kind) {
        case TaskColumnKind::active:
            return hasObservedActivity ? "Recent" : "Unknown";
        case TaskColumnKind::pending:
            return hasObservedActivity ? "Earlier" : "Unknown";
        case TaskColumnKind::done:
            return "Archived";
        case TaskColumnKind::scheduled:
            break;
    }
    return "";
}

std::vector<TaskItem> sortedByActivity(std::vector<TaskItem> items) {
    std::ranges::stable_sort(items, [](const TaskItem& a, const TaskItem& b) {
        const double rankOfA = activityRank(a);
        const double rankOfB = activityRank(b);
        return rankOfA != rankOfB ? rankOfA > rankOfB : a.id < b.id;
    });
    return items;
}

}  // namespace vantry::TaskEvidencePolicy
