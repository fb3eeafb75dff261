#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/Calendar.h"
#include "records/DailyUsage.h"
#include "records/Projects.h"

namespace vantry {

/// What each project used since the beginning, as far as the account's official totals admit.
///
/// The logs of a day may hold more than the account counted, and logs get removed. So a day's local
/// tokens are cut to that day's official total, and what no log explains stays one unattributed
/// amount. All of it is exact in whole tokens, and does not depend on the order of its input.
namespace ProjectLifetimeEstimate {

struct Input {
    const std::vector<ProjectUsage>& projects;  ///< all-time rows
    /// Tokens by project id and official day. Counts for projects that have a row.
    const std::map<std::string, std::map<std::string, std::int64_t>>& localDailyByProject;
    const std::vector<DailyTokenBucket>& officialDailyBuckets;  ///< the id is the official day
    std::int64_t officialLifetimeTokens = 0;
};

struct Result {
    std::vector<ProjectUsage> projects;  ///< every row given, most tokens first
    std::int64_t unattributedTokens = 0;

    friend bool operator==(const Result&, const Result&) = default;
};

/// Nothing where the official figures are unusable: a negative one, a bucket without a day, or two
/// of the same day.
std::optional<Result> make(const Input& input);

/// The official service counts its days in UTC, whatever the zone of the statistics.
Calendar officialDayCalendar();

/// localDayKey() of the date in that calendar, without a calendar: cheap enough to be asked for
/// every event. Any thread.
std::string officialDayKey(Date date);

}  // namespace ProjectLifetimeEstimate

}  // namespace vantry
