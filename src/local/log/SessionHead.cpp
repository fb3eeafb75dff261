#include "local/log/SessionHead.h"

#include "platform/Checksum.h"

namespace vantry {

namespace {

using Entry = SessionUsageCacheEntry;

// What a log says. The file that says it is told by the head.
constexpr std::tuple eventMembers{field("hasTokenEvents", &Entry::hasTokenEvents),
                                  field("tokenEventCount", &Entry::tokenEventCount),
                                  field("deltaStorage", &Entry::deltaStorage),
                                  field("toolCalls", &Entry::toolCalls),
                                  field("toolCallProofs", &Entry::toolCallProofs),
                                  field("skillLoads", &Entry::skillLoads),
                                  field("lastTokenUsage", &Entry::lastTokenUsage),
                                  field("lastModel", &Entry::lastModel),
                                  field("lineage", &Entry::lineage),
                                  field("firstReading", &Entry::firstReading),
                                  field("readingTrail", &Entry::readingTrail),
                                  field("prefixProof", &Entry::prefixProof),
                                  field("logSize", &Entry::logSize),
                                  field("pendingRecords", &Entry::pendingRecords),
                                  field("lines", &Entry::lines),
                                  field("lastTurnOrigin", &Entry::lastTurnOrigin)};

}  // namespace

void SessionHead::tellNothing() {
    hasToolCalls = false;
    hasRecords = false;
    deltaCount = 0;
    copiedThreads.clear();
    contents = 0;
}

SessionEntryForms formsOf(const SessionUsageCacheEntry& entry) {
    SessionEntryForms forms;
    RecordBytesWriter(forms.events).writeMembers(entry, eventMembers);
    forms.head = {.file = {.fileSize = entry.fileSize,
                           .modificationTimeNanoseconds = entry.modificationTimeNanoseconds,
                           .fileIdentifier = entry.fileIdentifier,
                           .changeTimeNanoseconds = entry.changeTimeNanoseconds,
                           .mode = entry.mode},
                  .lineage = entry.lineage.value_or(SessionUsageLineage{}),
                  .parsedByteOffset = entry.parsedByteOffset,
                  .logSize = entry.logSize,
                  .hasTokenEvents = entry.hasTokenEvents,
                  .hasToolCalls = !entry.toolCalls.empty(),
                  .hasRecords = !entry.deltaStorage.recordKeys.empty(),
                  .tokenEventCount = entry.tokenEventCount,
                  .deltaCount = entry.deltaCount(),
                  .lines = entry.lines,
                  .copiedThreads = entry.deltaStorage.threads,
                  .isCounted = entry.isCounted,
                  .isCurrent = entry.isCurrent,
                  .contents = checksum(0, {forms.events})};
    return forms;
}

std::optional<SessionUsageCacheEntry> entryOf(const SessionHead& head, std::string_view events) {
    SessionUsageCacheEntry entry;
    RecordBytesReader reader(events);
    reader.readMembers(entry, eventMembers);
    if (!reader.isDone() || !entry.lineage || !entry.damage().empty()) return std::nullopt;
    head.file.describe(entry);
    entry.parsedByteOffset = head.parsedByteOffset;
    entry.isCounted = head.isCounted;
    entry.isCurrent = head.isCurrent;
    return entry;
}

}  // namespace vantry
