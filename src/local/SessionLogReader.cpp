#include "local/SessionLogReader.h"

#include <algorithm>
#include <unistd.h>
#include <utility>

#include "io/BoundedProcessRunner.h"
#include "io/LocalFileAccess.h"
#include "io/RegularFileReader.h"
#include "local/SessionFileIdentity.h"
#include "local/SessionLineParser.h"
#include "local/SessionLineage.h"
#include "local/SessionLogStream.h"

namespace vantry::CodexUsageReader {

namespace fs = std::filesystem;

namespace {

constexpr const char* relevantLines =
    "\"type\"[[:space:]]*:[[:space:]]*\"(token_count|function_call|custom_tool_call|turn_context)"
    "\"";

// An unfinished last line of a known log is looked at again up to this length.
constexpr std::int64_t longestTail = 2'097'152;

/// One log as it stood when the read began.
struct Snapshot {
    const fs::path path;
    const SessionFileSnapshot file;
};

std::optional<FileDescriptor> openFrom(const Snapshot& log, std::int64_t offset) {
    auto file = RegularFileReader::open({.path = log.path,
                                         .expectedFileIdentifier = log.file.fileIdentifier,
                                         .minimumSize = log.file.fileSize});
    if (file && offset > 0 && ::lseek(file->number(), offset, SEEK_SET) != offset) file.reset();
    return file;
}

bool isExecutable(const fs::path& program) {
    std::error_code error;
    return fs::is_regular_file(program, error) && ::access(program.c_str(), X_OK) == 0;
}

SessionUsageCacheEntry entryOf(const Snapshot& log, const ParsedSessionUsage& usage, Date now) {
    SessionUsageCacheEntry entry{.hasTokenEvents = usage.hasTokenEvents,
                                 .tokenEventCount = usage.tokenEventCount,
                                 .deltaStorage = SessionUsageDeltaStorage::encoding(usage.deltas),
                                 .toolCalls = usage.toolCalls,
                                 .toolCallProofs = usage.toolCallProofs,
                                 .skillLoads = usage.skillLoads,
                                 .lastTokenUsage = usage.lastTokenUsage,
                                 .lastModel = usage.lastModel,
                                 .lastAccessedAt = now,
                                 .firstReading = usage.firstReading,
                                 .readingTrail = SessionReadingTrailStorage::encoding(usage.trail)};
    log.file.describe(entry);
    return entry;
}

// Up to where an entry has parsed its log, with the proof by which the log is known again.
void parsedUpTo(std::optional<std::int64_t> offset, const FileDescriptor& file,
                SessionUsageCacheEntry& entry) {
    entry.parsedByteOffset = offset;
    if (offset) entry.prefixProof = sessionPrefixProof(file, *offset);
}

// Whether an unchanged log needs no look: it was read to its end, or what stands behind cannot
// matter.
bool isUnchanged(const Snapshot& log, const SessionUsageCacheEntry& cached) {
    if (!sameSessionFileIdentity(cached, log.file) || !cached.parsedByteOffset) return false;
    const std::int64_t tail = log.file.fileSize - *cached.parsedByteOffset;
    if (*cached.parsedByteOffset < 0 || tail < 0 || tail > longestTail) return false;
    if (tail == 0) return true;
    const auto file = openFrom(log, *cached.parsedByteOffset);
    if (!file) return false;
    std::string bytes(static_cast<std::size_t>(tail), '\0');
    if (!RegularFileReader::readExactly(*file, bytes)) return false;
    return !mayBeRelevant(bytes);
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
                              .trail = *std::move(trail)};
}

std::optional<SessionUsageCacheEntry> incrementallyUpdatedSessionUsage(
    const Snapshot& log, const SessionUsageCacheEntry& cached, const SessionReadSetting& setting) {
    if (!cached.parsedByteOffset || !cached.lastTokenUsage || !cached.fileIdentifier ||
        cached.fileIdentifier != log.file.fileIdentifier || log.file.fileSize <= cached.fileSize ||
        *cached.parsedByteOffset < 0 || *cached.parsedByteOffset > cached.fileSize) {
        return std::nullopt;
    }
    const SessionParserBudget budget(setting.limits, setting.uptime);
    if (!budget.isInTime()) return std::nullopt;
    const auto file = openFrom(log, *cached.parsedByteOffset);
    if (!file || !cached.prefixProof ||
        sessionPrefixProof(*file, *cached.parsedByteOffset) != cached.prefixProof) {
        return std::nullopt;
    }
    auto usage = resumed(cached);
    if (!usage) return std::nullopt;
    const auto consumed = streamSessionLines(
        {.file = *file, .byteCount = log.file.fileSize - *cached.parsedByteOffset}, budget, *usage);
    if (!consumed || !sessionFileContainsSnapshotPrefix(log.path, log.file)) return std::nullopt;
    SessionUsageCacheEntry entry = entryOf(log, *usage, setting.now);
    parsedUpTo(*cached.parsedByteOffset + *consumed, *file, entry);
    if (!budget.isInTime()) return std::nullopt;
    return entry;
}

// Takes the lines that the filter let through. The text has padding behind its end.
bool takeFilteredLines(std::string_view text, ParsedSessionUsage& usage) {
    JsonParser parser;
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        const std::string_view line = text.substr(0, end);
        if (end == std::string_view::npos && !parser.parsePadded(line)) return false;
        if (!processSessionLine(line, usage, parser)) return false;
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
    return true;
}

std::optional<SessionUsageCacheEntry> filteredSessionUsage(const Snapshot& log,
                                                           const SessionReadSetting& setting) {
    const auto file = openFrom(log, 0);
    if (!file) return std::nullopt;
    BoundedProcessResult result =
        BoundedProcessRunner::run({.executableURL = setting.grepExecutablePath,
                                   .arguments = {"-a", "-E", relevantLines},
                                   .environment = {{"LC_ALL", "C"}},
                                   .timeout = setting.limits.timeout,
                                   .maxOutputBytes = setting.limits.maxGrepOutputBytes,
                                   .allowedExitCodes = {0, 1},
                                   .standardInput = &*file});
    if (result.kind != BoundedProcessResult::Kind::success) return std::nullopt;
    std::string& lines = result.output.standardOutput;
    const std::size_t size = lines.size();
    lines.append(JsonParser::padding, '\0');
    ParsedSessionUsage usage;
    if (!takeFilteredLines(std::string_view(lines).substr(0, size), usage) ||
        !sessionFileMatchesSnapshot(log.path, log.file)) {
        return std::nullopt;
    }
    SessionUsageCacheEntry entry = entryOf(log, usage, setting.now);
    parsedUpTo(parsedSessionByteOffset(log.path, log.file), *file, entry);
    return entry;
}

std::optional<SessionUsageCacheEntry> streamedSessionUsage(const Snapshot& log,
                                                           const SessionParserLimits& limits,
                                                           const SessionReadSetting& setting) {
    const SessionParserBudget budget(limits, setting.uptime);
    if (!budget.isInTime()) return std::nullopt;
    const auto file = openFrom(log, 0);
    if (!file) return std::nullopt;
    ParsedSessionUsage usage;
    const auto consumed =
        streamSessionLines({.file = *file, .byteCount = log.file.fileSize}, budget, usage);
    if (!consumed || !sessionFileContainsSnapshotPrefix(log.path, log.file)) return std::nullopt;
    SessionUsageCacheEntry entry = entryOf(log, usage, setting.now);
    parsedUpTo(consumed, *file, entry);
    if (!budget.isInTime()) return std::nullopt;
    return entry;
}

SessionReadOutcome readWhole(const Snapshot& log, const SessionReadSetting& setting) {
    SessionReadOutcome outcome;
    if (log.file.fileSize > setting.limits.largeFileThresholdBytes) {
        outcome = {.route = SessionReadRoute::streamed,
                   .entry = streamedSessionUsage(log, setting.limits.forLargeFile(), setting)};
    } else if (isExecutable(setting.grepExecutablePath)) {
        outcome = {.route = SessionReadRoute::filtered,
                   .entry = filteredSessionUsage(log, setting)};
    } else {
        outcome = {.route = SessionReadRoute::streamed,
                   .entry = streamedSessionUsage(log, setting.limits, setting)};
    }
    if (!outcome.entry) outcome.route = SessionReadRoute::failed;
    return outcome;
}

}  // namespace

fs::path SessionReadSetting::defaultGrepPath() {
    return isExecutable("/usr/bin/grep") ? "/usr/bin/grep" : "/bin/grep";
}

bool sessionRolloutAccessIsAllowed(const fs::path& path, const fs::path& homeDirectory) {
    std::error_code error;
    const fs::path temporary = fs::temp_directory_path(error);
    std::vector<LocalFileRoot> roots{{.path = homeDirectory / ".codex"}};
    if (!error) roots.push_back({.path = temporary});
    return localFileAccessIsAllowed(path, roots);
}

SessionReadOutcome readSession(const SessionUsageSource& source,
                               const SessionUsageCacheEntry* cached,
                               const SessionReadSetting& setting) {
    if (!sessionRolloutAccessIsAllowed(source.rolloutPath, setting.homeDirectory)) {
        return {.route = SessionReadRoute::denied, .entry = std::nullopt};
    }
    const auto file = SessionFileSnapshot::of(source.rolloutPath);
    if (!file) return {};
    const Snapshot log{.path = source.rolloutPath, .file = *file};
    // Of a log that is known only what its own thread's header said still holds.
    const bool isKnownThread =
        cached != nullptr && (!cached->lineage || cached->lineage->threadId == source.threadId);
    if (isKnownThread && isUnchanged(log, *cached)) {
        return {.route = SessionReadRoute::hit, .fileIdentifier = log.file.fileIdentifier};
    }
    const auto lineage = readSessionUsageLineage({.log = log.path,
                                                  .expectedFileIdentifier = log.file.fileIdentifier,
                                                  .expectedThreadId = source.threadId});
    SessionReadOutcome outcome{.route = SessionReadRoute::appended};
    if (cached != nullptr) outcome.entry = incrementallyUpdatedSessionUsage(log, *cached, setting);
    if (!outcome.entry) outcome = readWhole(log, setting);
    if (outcome.entry) outcome.entry->lineage = lineage;
    return outcome;
}

void keepOutcome(SessionReadKeeping keeping, SessionUsageCache& cache) {
    const std::string& path = keeping.source.rolloutPath;
    SessionReadOutcome& outcome = keeping.outcome;
    if (outcome.route == SessionReadRoute::denied && cache.entries.erase(path) > 0) {
        cache.hasChanges = true;
    }
    const auto known = cache.entries.find(path);
    if (outcome.route == SessionReadRoute::hit && known != cache.entries.end()) {
        known->second.touch(outcome.fileIdentifier, keeping.now);
    }
    if (!outcome.entry) return;
    cache.entries.insert_or_assign(path, *std::move(outcome.entry));
    cache.hasChanges = true;
}

std::optional<SessionUsageCacheEntry> cachedSessionUsage(const SessionUsageSource& source,
                                                         SessionUsageCache& cache,
                                                         const SessionReadSetting& setting) {
    const auto known = cache.entries.find(source.rolloutPath);
    SessionReadOutcome outcome =
        readSession(source, known == cache.entries.end() ? nullptr : &known->second, setting);
    const bool isKnown = outcome.isKnown();
    keepOutcome({.source = source, .outcome = std::move(outcome), .now = setting.now}, cache);
    if (!isKnown) return std::nullopt;
    return cache.entries.at(source.rolloutPath);
}

}  // namespace vantry::CodexUsageReader
