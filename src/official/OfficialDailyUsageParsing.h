#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/Date.h"
#include "platform/JsonReader.h"
#include "platform/RecordFields.h"
#include "records/DailyUsage.h"
#include "records/Notice.h"

/// What an `account/usage/read` result says of the account's past. A value that is missing or null
/// is not known; one that is there and wrong is not used, and a message says so. Any thread.
namespace vantry::CodexUsageReader {

/// The account's total.
std::optional<std::int64_t> parseOfficialLifetimeTokens(JsonView result, Notices& messages);

struct CloudDailyUsageReply {
    JsonView result;
    Date now;
    Notices& messages;
};

/// The account's tokens by day, oldest first: all of them or, for a single bad one, nothing. An
/// empty list is an answer.
std::optional<std::vector<DailyTokenBucket>> parseCloudDailyBuckets(
    const CloudDailyUsageReply& reply);

/// A day as the service counts it, from midnight to midnight UTC.
struct OfficialDay {
    std::string day;  ///< "yyyy-MM-dd"
    std::int64_t tokens = 0;

    friend bool operator==(const OfficialDay&, const OfficialDay&) = default;
};

/// The rule that a batch of days is judged by, wherever it comes from: each a real day that has
/// begun by `now`, none twice, none with a negative count. Oldest first.
std::optional<std::vector<DailyTokenBucket>> checkedOfficialDays(std::vector<OfficialDay> days,
                                                                 Date now);

}  // namespace vantry::CodexUsageReader

namespace vantry {

template <>
struct RecordFields<CodexUsageReader::OfficialDay> {
    using Day = CodexUsageReader::OfficialDay;
    static constexpr std::tuple list{field("day", &Day::day), field("tokens", &Day::tokens)};
};

}  // namespace vantry
