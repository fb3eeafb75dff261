#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "local/SessionUsage.h"
#include "platform/JsonReader.h"
#include "statistics/StatisticsContext.h"

namespace vantry {

namespace CodexUsageReader {

/// Takes one line of a rollout log, without its line end, into `usage`, which goes on where the
/// lines before left it: deltas are the growth of the counter since `usage.lastTokenUsage`, under
/// the model of `usage.lastModel`.
///
/// True if the line is fine or of no interest. False if it is damaged: the whole log is then
/// refused, and `usage` is not used any more. JsonParser::padding bytes behind the line must be
/// readable. A line of no interest costs a search and no allocation. One thread per `usage` and
/// `parser`.
bool processSessionLine(std::string_view line, ParsedSessionUsage& usage, JsonParser& parser);

/// Whether a line may be of interest: a test on its bytes, true for every line that is.
bool mayBeRelevant(std::string_view bytes);

/// A counter's reading; nothing for one that breaks the counter's own rules: no negative value,
/// cached tokens within the input, reasoning within the output, and input plus output is the total.
std::optional<TokenBreakdown> parseTokenReading(JsonView usage);

}  // namespace CodexUsageReader

/// Events of a log that lie in the future of a read. They stay in the log's chain of differences
/// and are left out where they are used.
namespace SessionUsageEventTimePolicy {

struct AcceptedDeltas {
    std::vector<SessionUsageDelta> deltas;
    std::int64_t rejectedCount = 0;
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
