#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "local/log/SessionFileIdentity.h"
#include "local/log/SessionUsageCacheEntry.h"
#include "platform/RecordBytes.h"

namespace vantry {

/// What is at hand of every log, while its events stay where they are kept.
struct SessionHead {
    SessionFileSnapshot file;  ///< as it was when the log was read
    SessionUsageLineage lineage;
    std::optional<std::int64_t> parsedByteOffset;  ///< up to here every line has been parsed
    std::int64_t logSize = 0;                      ///< bytes of the log that were read, unpacked
    bool hasTokenEvents = false;
    bool hasToolCalls = false;
    bool hasRecords = false;
    std::int64_t tokenEventCount = 0;
    std::int64_t deltaCount = 0;
    SessionLineCounts lines;
    std::vector<std::string> copiedThreads;  ///< those that copied records name
    bool isCounted = false;                  ///< the figures have held what the log says
    bool isCurrent = false;
    /// Stands for all that the log says: two logs with the same number say the same.
    std::uint64_t contents = 0;

    /// Stands for all that the log's share was made from; 0 without a share.
    std::uint64_t shareSources = 0;
    std::optional<Date> shareLastActiveAt;
    std::optional<Date> shareNextWaiting;

    /// Whether the log says anything that can count.
    bool holdsUsage() const { return deltaCount > 0 || hasToolCalls; }

    /// Whether events wait that should count by now, or count that are ahead.
    bool isShareOutOfTime(Date cutoff) const {
        return (shareNextWaiting && *shareNextWaiting <= cutoff) ||
               (shareLastActiveAt && *shareLastActiveAt > cutoff);
    }

    /// Leaves nothing of a log whose events are lost but where it lay and whose it was.
    void tellNothing();

    friend bool operator==(const SessionHead&, const SessionHead&) = default;
};

template <>
struct RecordFields<SessionHead> {
    using Head = SessionHead;
    static constexpr std::tuple list{field("file", &Head::file),
                                     field("lineage", &Head::lineage),
                                     field("parsedByteOffset", &Head::parsedByteOffset),
                                     field("logSize", &Head::logSize),
                                     field("hasTokenEvents", &Head::hasTokenEvents),
                                     field("hasToolCalls", &Head::hasToolCalls),
                                     field("hasRecords", &Head::hasRecords),
                                     field("tokenEventCount", &Head::tokenEventCount),
                                     field("deltaCount", &Head::deltaCount),
                                     field("lines", &Head::lines),
                                     field("copiedThreads", &Head::copiedThreads),
                                     field("isCounted", &Head::isCounted),
                                     field("isCurrent", &Head::isCurrent),
                                     field("contents", &Head::contents),
                                     field("shareSources", &Head::shareSources),
                                     field("shareLastActiveAt", &Head::shareLastActiveAt),
                                     field("shareNextWaiting", &Head::shareNextWaiting)};
};

/// A log's entry in the two forms in which it is kept.
struct SessionEntryForms {
    SessionHead head;
    std::string events;  ///< bytes: all but what the head says of the file
};

SessionEntryForms formsOf(const SessionUsageCacheEntry& entry);

/// The entry of both forms; nothing for bytes that are damaged or say what cannot be.
std::optional<SessionUsageCacheEntry> entryOf(const SessionHead& head, std::string_view events);

}  // namespace vantry
