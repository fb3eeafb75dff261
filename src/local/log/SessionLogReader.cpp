#include "local/log/SessionLogReader.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <span>
#include <unistd.h>
#include <utility>

#include "io/LocalFileAccess.h"
#include "io/RegularFileReader.h"
#include "local/log/SessionLineParser.h"
#include "local/log/SessionLineage.h"

namespace vantry::CodexUsageReader {

namespace fs = std::filesystem;

namespace {

/// One log as it stood when the read began.
struct Snapshot {
    const fs::path path;
    const SessionFileSnapshot file;
    const bool isCompressed;
};

std::optional<FileDescriptor> open(const Snapshot& log) {
    errno = 0;
    return RegularFileReader::open({.path = log.path,
                                    .expectedFileIdentifier = log.file.fileIdentifier,
                                    .minimumSize = log.file.fileSize});
}

SessionLogTrouble troubleOfOpening() {
    switch (errno) {
        case 0:
            return SessionLogTrouble::changed;
        case ENOENT:
        case ENOTDIR:
            return SessionLogTrouble::absent;
        case EMFILE:
        case ENFILE:
        case ENOMEM:
            return SessionLogTrouble::outOfResources;
        default:
            return SessionLogTrouble::unreadable;
    }
}

// Takes all but the deltas out of `usage`.
SessionUsageCacheEntry entryOf(const Snapshot& log, ParsedSessionUsage& usage) {
    SessionUsageCacheEntry entry{.hasTokenEvents = usage.hasTokenEvents,
                                 .tokenEventCount = usage.tokenEventCount,
                                 .deltaStorage = SessionUsageDeltaStorage::encoding(usage.deltas),
                                 .toolCalls = std::move(usage.toolCalls),
                                 .toolCallProofs = std::move(usage.toolCallProofs),
                                 .skillLoads = std::move(usage.skillLoads),
                                 .lastTokenUsage = usage.lastTokenUsage,
                                 .lastModel = std::move(usage.lastModel),
                                 .firstReading = usage.firstReading,
                                 .readingTrail = SessionReadingTrailStorage::encoding(usage.trail),
                                 .pendingRecords = std::move(usage.pendingRecords),
                                 .lines = usage.lines,
                                 .lastTurnOrigin = static_cast<std::int64_t>(usage.turnOrigin),
                                 .isCurrent = true};
    log.file.describe(entry);
    return entry;
}

// Whether an unchanged log needs no look: what stands behind its last finished line does not count.
bool isUnchanged(const SessionFileSnapshot& file, const SessionHead& known) {
    return known.isCurrent && sameSessionFileIdentity(known.file, file) && known.parsedByteOffset &&
           *known.parsedByteOffset >= 0 && *known.parsedByteOffset <= file.fileSize;
}

// The state from which a log that has grown is read on.
std::optional<ParsedSessionUsage> resumed(const SessionUsageCacheEntry& cached) {
    auto decoding = cached.deltaStorage.decoded();
    auto trail = cached.readingTrail.decoded(cached.deltaStorage.count);
    if (!decoding.deltas || !trail) return std::nullopt;
    return ParsedSessionUsage{.hasTokenEvents = cached.hasTokenEvents,
                              .tokenEventCount = cached.tokenEventCount,
                              .deltas = *std::move(decoding.deltas),
                              .toolCalls = cached.toolCalls,
                              .toolCallProofs = cached.toolCallProofs,
                              .skillLoads = cached.skillLoads,
                              .lastTokenUsage = *cached.lastTokenUsage,
                              .lastModel = cached.lastModel,
                              .firstReading = cached.firstReading,
                              .trail = *std::move(trail),
                              .turnOrigin = static_cast<SessionTurnOrigin>(cached.lastTurnOrigin),
                              .pendingRecords = cached.pendingRecords,
                              .lines = cached.lines};
}

bool canGoOn(const Snapshot& log, const SessionHead& known) {
    return known.isCurrent && !log.isCompressed && known.parsedByteOffset &&
           known.file.fileIdentifier && known.file.fileIdentifier == log.file.fileIdentifier &&
           log.file.fileSize > known.file.fileSize && *known.parsedByteOffset >= 0 &&
           *known.parsedByteOffset <= known.file.fileSize;
}

/// An open log and what it is read with.
struct OpenLog {
    const Snapshot& log;
    const FileDescriptor& file;
    const SessionReadSetting& setting;
    SessionLogWorkspace& workspace;
};

/// Has the buffer hold nothing and the file stand at `offset`.
bool goTo(std::int64_t offset, const OpenLog& open) {
    open.workspace.buffer.clear();
    return ::lseek(open.file.number(), offset, SEEK_SET) == offset;
}

/// Reads into `usage` what stands from `offset` on, of which the buffer may hold the beginning.
SessionReadOutcome readFrom(std::int64_t offset, ParsedSessionUsage usage, const OpenLog& open) {
    const auto& [log, file, setting, workspace] = open;
    // An appended stretch is never the whole of a large file.
    const bool isLarge =
        offset == 0 &&
        (log.isCompressed || log.file.fileSize > setting.limits.largeFileThresholdBytes);
    const SessionParserBudget budget(isLarge ? setting.limits.forLargeFile() : setting.limits,
                                     setting.uptime);
    const auto reading = streamSessionLines({.file = file,
                                             .byteCount = log.file.fileSize - offset,
                                             .isCompressed = log.isCompressed,
                                             .workspace = workspace},
                                            budget, usage);
    if (reading.trouble != SessionLogTrouble::none) return {.trouble = reading.trouble};
    if (!sessionFileContainsSnapshotPrefix(log.path, log.file)) {
        return {.trouble = SessionLogTrouble::changed};
    }
    SessionReadOutcome outcome{.route = offset > 0 ? SessionReadRoute::appended
                                                   : SessionReadRoute::whole};
    SessionUsageCacheEntry& entry = outcome.entry.emplace(entryOf(log, usage));
    outcome.deltas = std::move(usage.deltas);
    entry.logSize = offset + reading.consumed;
    entry.parsedByteOffset = log.isCompressed ? log.file.fileSize : entry.logSize;
    if (!log.isCompressed) entry.prefixProof = sessionPrefixProof(file, entry.logSize);
    if (!budget.isInTime()) return {.trouble = SessionLogTrouble::timeRanOut};
    return outcome;
}

// Time can be had another time, but a log that took too much of it twice is left alone too.
bool isKnownToFail(const KnownSessionTrouble* known, const SessionFileSnapshot& file, Date now) {
    constexpr double patience = 600;  // seconds
    if (known == nullptr || known->file != file) return false;
    switch (known->trouble) {
        case SessionLogTrouble::damaged:
        case SessionLogTrouble::tooLarge:
            return true;
        case SessionLogTrouble::timeRanOut:
            return !(now - known->firstSeenAt <= patience);
        default:
            return false;
    }
}

std::optional<SessionReadOutcome> readAppended(const SessionLogRequest& request,
                                               const std::string& threadId, const OpenLog& open) {
    if (request.known->lineage.threadId != threadId) return std::nullopt;
    const auto known = request.loadKnown();
    const std::int64_t offset = *request.known->parsedByteOffset;
    if (known == nullptr || !known->lastTokenUsage || !known->prefixProof ||
        sessionPrefixProof(open.file, offset) != known->prefixProof || !goTo(offset, open)) {
        return std::nullopt;
    }
    auto usage = resumed(*known);
    if (!usage) return std::nullopt;
    usage->threadId = threadId;
    auto outcome = readFrom(offset, *std::move(usage), open);
    if (!outcome.isKnown()) return std::nullopt;
    return outcome;
}

// The head of a log mostly holds its header, and stays in the buffer to be read on from; else the
// buffer is left empty.
std::optional<SessionUsageLineage> lineageOf(const OpenLog& open, std::size_t headBytes) {
    const auto& [log, file, setting, workspace] = open;
    if (log.isCompressed) return readSessionUsageLineage(file, true);
    const auto size = static_cast<std::size_t>(log.file.fileSize);
    const auto head = workspace.buffer.room(0).first(std::min(headBytes, size));
    workspace.buffer.add(RegularFileReader::read(file, head).value_or(0));
    auto header = sessionHeaderAmong(workspace.buffer.bytes(), workspace.parser);
    if (header.isThere) return std::move(header.lineage);
    if (!goTo(0, open)) return std::nullopt;
    return readSessionUsageLineage(file, false);
}

bool isId(std::string_view text) {
    return std::ranges::all_of(
        text, [](unsigned char byte) { return std::isxdigit(byte) != 0 || byte == '-'; });
}

}  // namespace

bool sessionRolloutAccessIsAllowed(const fs::path& path, const fs::path& codexHome) {
    std::error_code error;
    const fs::path temporary = fs::temp_directory_path(error);
    std::vector<LocalFileRoot> roots{{.path = codexHome}};
    if (!error) roots.push_back({.path = temporary});
    return localFileAccessIsAllowed(path, roots);
}

bool isCompressedSession(const std::string& path) {
    return path.ends_with(".zst");
}

std::string sessionFileStem(const std::string& path) {
    std::string name = path.substr(path.rfind('/') + 1);
    for (const std::string_view ending : {".zst", ".jsonl"}) {
        if (name.ends_with(ending)) name.resize(name.size() - ending.size());
    }
    return name;
}

std::string sessionSegmentId(const std::string& path, const std::string& threadId) {
    constexpr std::size_t idSize = 36;
    const std::string stem = sessionFileStem(path);
    const std::size_t at = stem.find(threadId + "_");
    if (threadId.empty() || at == std::string::npos) return threadId;
    // A copy may have got something behind its name.
    std::string id = stem.substr(at + threadId.size() + 1, idSize);
    return id.size() == idSize && isId(id) ? id : threadId;
}

std::string sessionThreadIdOfFile(const std::string& path) {
    constexpr std::string_view before = "rollout-2026-01-01T00-00-00-";
    constexpr std::size_t idSize = 36;
    std::string stem = sessionFileStem(path);
    if (stem.size() < before.size() + idSize) return stem;
    std::string id = stem.substr(before.size(), idSize);
    return isId(id) ? id : stem;
}

SessionLook lookAtSession(const SessionLogRequest& request, const SessionReadSetting& setting) {
    errno = 0;
    const auto file = SessionFileSnapshot::of(request.path);
    if (!file) {
        const SessionLogTrouble trouble = troubleOfOpening();
        return {.outcome = SessionReadOutcome{.trouble = trouble == SessionLogTrouble::changed
                                                             ? SessionLogTrouble::notRegular
                                                             : trouble}};
    }
    const auto failed = [&](SessionLogTrouble trouble) {
        return SessionLook{.outcome = SessionReadOutcome{.trouble = trouble, .file = file}};
    };
    if (!request.isInAllowedFolder &&
        !sessionRolloutAccessIsAllowed(request.path, setting.codexHome)) {
        return failed(SessionLogTrouble::outside);
    }
    if (request.known != nullptr && isUnchanged(*file, *request.known)) {
        return {.outcome = SessionReadOutcome{.route = SessionReadRoute::hit, .file = file}};
    }
    if (isKnownToFail(request.knownTrouble, *file, setting.now)) {
        return failed(request.knownTrouble->trouble);
    }
    return {.file = *file};
}

SessionReadOutcome readSeenSession(const SessionLogRequest& request,
                                   const SessionFileSnapshot& file,
                                   const SessionReadSetting& setting,
                                   SessionLogWorkspace& workspace) {
    const Snapshot log{
        .path = request.path, .file = file, .isCompressed = isCompressedSession(request.path)};
    const auto descriptor = open(log);
    if (!descriptor) return {.trouble = troubleOfOpening(), .file = file};
    const OpenLog openLog{
        .log = log, .file = *descriptor, .setting = setting, .workspace = workspace};
    workspace.clear();
    const bool mayGoOn = request.known != nullptr && canGoOn(log, *request.known);
    constexpr std::size_t headBytes = 65'536;
    auto lineage = lineageOf(openLog, mayGoOn ? headBytes : SessionLogBuffer::chunkBytes);
    if (!lineage) {
        lineage = SessionUsageLineage{.threadId = request.fallbackThreadId.empty()
                                                      ? sessionThreadIdOfFile(request.path)
                                                      : std::string(request.fallbackThreadId)};
    }
    std::optional<SessionReadOutcome> outcome;
    if (mayGoOn) outcome = readAppended(request, lineage->threadId, openLog);
    if (!outcome) {
        const bool holdsHead = !mayGoOn && !workspace.buffer.bytes().empty();
        if (!holdsHead && !goTo(0, openLog)) {
            return {.trouble = SessionLogTrouble::unreadable, .file = file};
        }
        outcome = readFrom(0, {.threadId = lineage->threadId}, openLog);
    }
    if (outcome->entry) outcome->entry->lineage = std::move(lineage);
    outcome->file = file;
    return *std::move(outcome);
}

SessionReadOutcome readSession(const SessionLogRequest& request,
                               const SessionReadSetting& setting) {
    SessionLook look = lookAtSession(request, setting);
    if (look.outcome) return *std::move(look.outcome);
    SessionLogWorkspace workspace;
    return readSeenSession(request, look.file, setting, workspace);
}

}  // namespace vantry::CodexUsageReader
