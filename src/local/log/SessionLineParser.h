#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "local/log/SessionUsage.h"
#include "platform/JsonReader.h"
#include "statistics/StatisticsContext.h"

namespace vantry {

namespace CodexUsageReader {

/// What became of a line.
enum class SessionLineOutcome : std::uint8_t {
    taken,       ///< or of no interest
    unreadable,  ///< no JSON: passed over and counted
    invalid,     ///< JSON that says what cannot be: the whole log is refused
};

/// Takes one finished line of a rollout log, without its line end, into `usage`, which goes on
/// where the lines before left it.
///
/// A record of a request counts by itself. The growth of the counter since `usage.lastTokenUsage`
/// counts where no record since the last reading accounts for it. Both go under the model of
/// `usage.lastModel`. After an invalid line `usage` is not used any more.
///
/// JsonParser::padding bytes behind the line must be readable. A line of no interest costs a search
/// and no allocation. One thread per `usage` and `parser`.
SessionLineOutcome processSessionLine(std::string_view line, ParsedSessionUsage& usage,
                                      JsonParser& parser);

/// The same for a line that mayBeRelevant() was said of.
SessionLineOutcome processRelevantLine(std::string_view line, ParsedSessionUsage& usage,
                                       JsonParser& parser);

/// The tokens of a reading or a record, which are their parts: the total is input plus output,
/// whatever is stated beside them. Nothing where a part is missing or negative, cached tokens are
/// more than the input, or reasoning is more than the output.
std::optional<TokenBreakdown> parseTokenReading(JsonView usage);

}  // namespace CodexUsageReader

/// Events of a log that lie in the future of a read. They stay in the log's chain of differences
/// and are left out where they are used.
namespace SessionUsageEventTimePolicy {

struct AcceptedDeltas {
    std::vector<SessionUsageDelta> deltas;
    std::int64_t rejectedCount = 0;  ///< all that lie ahead
    std::int64_t setAsideCount = 0;  ///< of these, those more than a day ahead
};

/// The deltas dated at or before `now`, in order; all of them without a `now`.
AcceptedDeltas acceptedDeltas(std::vector<SessionUsageDelta> deltas, std::optional<Date> now);

}  // namespace SessionUsageEventTimePolicy

namespace SessionUsageEventCutoffPolicy {

struct Scan {
    Date refreshStartedAt;
    Date scanCompletedAt;
    bool acceptsEventsWrittenDuringLoad = false;
};

/// The date above which events count as future: the end of the scan where events written meanwhile
/// are wanted and still belong to the day on which the read began, else its beginning.
Date cutoff(const Scan& scan, const StatisticsContext& statistics);

}  // namespace SessionUsageEventCutoffPolicy

}  // namespace vantry
