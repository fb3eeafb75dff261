#include "statistics/ProjectLifetimeEstimate.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <string_view>
#include <utility>

#include "records/TokenBreakdown.h"
#include "statistics/StatisticsContext.h"

namespace vantry::ProjectLifetimeEstimate {

namespace {

// GCC takes its extension keyword before a typedef only.
__extension__ typedef unsigned __int128 UInt128;  // NOLINT(modernize-use-using)

/// One project's part in a day.
struct Claim {
    std::int64_t* allocated = nullptr;  ///< the project's sum over all days
    std::int64_t tokens = 0;            ///< local at first, then what is allotted
    UInt128 remainder = 0;
};

struct OfficialDay {
    std::int64_t tokens = 0;
    std::vector<Claim> claims;  ///< by rising project id
};

using OfficialDays = std::map<std::string_view, OfficialDay>;

std::optional<OfficialDays> officialDays(const Input& input) {
    if (input.officialLifetimeTokens < 0) return std::nullopt;
    OfficialDays days;
    for (const DailyTokenBucket& bucket : input.officialDailyBuckets) {
        if (bucket.id.empty() || bucket.tokens < 0) return std::nullopt;
        if (!days.try_emplace(bucket.id, OfficialDay{.tokens = bucket.tokens}).second) {
            return std::nullopt;
        }
    }
    return days;
}

// Where the claims exceed the day's total, cuts them in proportion, by the largest remainder.
void fitToTotal(OfficialDay& day) {
    const auto official = static_cast<UInt128>(day.tokens);
    UInt128 localTotal = 0;
    for (const Claim& claim : day.claims) localTotal += static_cast<UInt128>(claim.tokens);
    if (localTotal <= official) return;
    std::int64_t leftover = day.tokens;
    for (Claim& claim : day.claims) {
        const UInt128 product = static_cast<UInt128>(claim.tokens) * official;
        claim.tokens = static_cast<std::int64_t>(product / localTotal);
        claim.remainder = product % localTotal;
        leftover -= claim.tokens;
    }
    // Stable: of equal remainders the lower project id goes first.
    std::ranges::stable_sort(day.claims, std::greater{}, &Claim::remainder);
    for (std::size_t i = 0; leftover > 0; ++i, --leftover) ++day.claims[i].tokens;
}

}  // namespace

std::optional<Result> make(const Input& input) {
    auto days = officialDays(input);
    if (!days) return std::nullopt;
    std::map<std::string_view, std::int64_t> allocatedByID;
    for (const ProjectUsage& project : input.projects) allocatedByID[project.id] = 0;
    for (auto& [id, allocated] : allocatedByID) {
        const auto local = input.localDailyByProject.find(std::string(id));
        if (local == input.localDailyByProject.end()) continue;
        for (const auto& [dayKey, tokens] : local->second) {
            const auto day = days->find(dayKey);
            if (day == days->end() || tokens <= 0) continue;
            day->second.claims.push_back({.allocated = &allocated, .tokens = tokens});
        }
    }
    std::int64_t allAllocated = 0;
    for (auto& [dayKey, day] : *days) {
        fitToTotal(day);
        for (const Claim& claim : day.claims) {
            *claim.allocated = saturatingAdd(*claim.allocated, claim.tokens);
            allAllocated = saturatingAdd(allAllocated, claim.tokens);
        }
    }
    Result result{.projects = input.projects};
    // Handed out once, even where two rows have the same id.
    for (ProjectUsage& row : result.projects) row.tokens = std::exchange(allocatedByID[row.id], 0);
    std::ranges::sort(result.projects, [](const ProjectUsage& a, const ProjectUsage& b) {
        return a.tokens != b.tokens ? a.tokens > b.tokens : a.id < b.id;
    });
    result.unattributedTokens =
        std::max<std::int64_t>(input.officialLifetimeTokens - allAllocated, 0);
    return result;
}

Calendar officialDayCalendar() {
    return StatisticsContext::calendar("UTC", TimeZone::utc());
}

std::string officialDayKey(Date date) {
    using namespace std::chrono;
    // The years 0 to 9999, which have four digits.
    constexpr double first = -62'167'219'200;
    constexpr double end = 253'402'300'800;
    const double since1970 = date.secondsSince1970();
    const bool isPlain = since1970 >= first && since1970 < end;
    if (!isPlain) return localDayKey(date, officialDayCalendar());
    const seconds whole(static_cast<std::int64_t>(std::floor(since1970)));
    const year_month_day day(floor<days>(sys_seconds(whole)));
    std::string key = "0000-00-00";
    const auto write = [&key](std::size_t lastDigit, unsigned value) {
        for (; value > 0; value /= 10) key[lastDigit--] = static_cast<char>('0' + value % 10);
    };
    write(3, static_cast<unsigned>(static_cast<int>(day.year())));
    write(6, static_cast<unsigned>(day.month()));
    write(9, static_cast<unsigned>(day.day()));
    return key;
}

}  // namespace vantry::ProjectLifetimeEstimate
