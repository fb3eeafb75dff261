#include "official/OfficialDailyUsageParsing.h"

#include <algorithm>
#include <utility>

#include "platform/Iso8601.h"

namespace vantry::CodexUsageReader {

namespace {

bool isPresent(JsonView value) {
    return !value.isMissing() && !value.isNull();
}

JsonView firstPresent(JsonView preferred, JsonView fallback) {
    return isPresent(preferred) ? preferred : fallback;
}

// The calendar of people has no year zero.
bool isRealDay(const std::string& day) {
    return day.size() == 10 && !day.starts_with("0000") && iso8601Date(day + "T00:00:00Z");
}

std::optional<OfficialDay> parseDay(JsonView bucket) {
    const auto day = ownedText(bucket["startDate"]);
    const auto tokens = int64Value(firstPresent(bucket["tokens"], bucket["totalTokens"]));
    if (!day || !tokens) return std::nullopt;
    return OfficialDay{.day = *day, .tokens = *tokens};
}

std::optional<std::vector<OfficialDay>> parseDays(JsonView buckets) {
    if (!buckets.isArray()) return std::nullopt;
    std::vector<OfficialDay> days;
    bool isGood = true;
    buckets.forEachElement([&](JsonView bucket) {
        auto day = parseDay(bucket);
        isGood = day.has_value();
        if (isGood) days.push_back(*std::move(day));
        return isGood;
    });
    if (!isGood) return std::nullopt;
    return days;
}

}  // namespace

std::optional<std::int64_t> parseOfficialLifetimeTokens(JsonView result, Notices& messages) {
    constexpr std::string_view key = "lifetimeTokens";
    const JsonView value = firstPresent(result["summary"][key], result[key]);
    if (!isPresent(value)) return std::nullopt;
    const auto tokens = int64Value(value);
    if (tokens && *tokens >= 0) return tokens;
    messages.push_back({NoticeKind::officialLifetimeMalformed});
    return std::nullopt;
}

std::optional<std::vector<DailyTokenBucket>> parseCloudDailyBuckets(
    const CloudDailyUsageReply& reply) {
    constexpr std::string_view key = "dailyUsageBuckets";
    const JsonView list = firstPresent(reply.result[key], reply.result["summary"][key]);
    if (!isPresent(list)) return std::nullopt;
    std::optional<std::vector<DailyTokenBucket>> buckets;
    if (auto days = parseDays(list)) buckets = checkedOfficialDays(*std::move(days), reply.now);
    if (!buckets) reply.messages.push_back({NoticeKind::officialDaysMalformed});
    return buckets;
}

std::optional<std::vector<DailyTokenBucket>> checkedOfficialDays(std::vector<OfficialDay> days,
                                                                 Date now) {
    // Day keys in this form are in the order of their days.
    std::ranges::sort(days, {}, &OfficialDay::day);
    const bool hasRepeated = std::ranges::adjacent_find(days, {}, &OfficialDay::day) != days.end();
    const auto today = iso8601Text(now);
    if (hasRepeated || !today) return std::nullopt;
    const std::string_view todayKey = std::string_view(*today).substr(0, 10);
    std::vector<DailyTokenBucket> buckets;
    buckets.reserve(days.size());
    for (OfficialDay& day : days) {
        if (!isRealDay(day.day) || day.day > todayKey || day.tokens < 0) return std::nullopt;
        buckets.push_back(DailyTokenBucket::of(std::move(day.day), day.tokens));
    }
    return buckets;
}

}  // namespace vantry::CodexUsageReader
