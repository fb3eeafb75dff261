#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "records/TaskBoard.h"

/// What the recorded times of a task say about it. A time that is missing or cannot be is never
/// replaced by a guess: such a task is one of which nothing was observed.
namespace vantry::TaskEvidencePolicy {

/// How long after its last activity a conversation counts as active, in seconds.
inline constexpr double recentActivityInterval = 7200.0;

/// A point in time from seconds or milliseconds since 1970, told apart by their size; nothing for
/// zero, anything negative and anything that is not finite.
std::optional<Date> dateFromEpoch(double value);

struct RecordedTimes {
    std::optional<Date> recencyAt;
    std::optional<Date> updatedAt;
    Date now;
};

/// The latest of the times that are finite and not after `now`.
std::optional<Date> latestObservedActivity(const RecordedTimes& times);

struct Activity {
    std::optional<Date> lastActivityAt;
    Date now;
};

/// `active` up to and including recentActivityInterval after the activity, otherwise `pending`.
TaskColumnKind column(const Activity& activity);

/// The word beside a conversation. Empty for `scheduled`: an automation's word is its own.
std::string_view chip(TaskColumnKind kind, bool hasObservedActivity);

/// The latest first, those without a time last; by id where times do not decide.
std::vector<TaskItem> sortedByActivity(std::vector<TaskItem> items);

}  // namespace vantry::TaskEvidencePolicy
