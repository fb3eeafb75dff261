#include "local/cache/KeptThreadIndex.h"

#include <algorithm>
#include <array>
#include <bit>
#include <iterator>
#include <optional>
#include <sys/stat.h>
#include <tuple>
#include <utility>

#include "local/index/SourceFingerprint.h"
#include "platform/Checksum.h"
#include "platform/RecordBytes.h"

namespace vantry::CodexUsageReader {

namespace {

constexpr const char* valueName = "index";

std::string partName(std::size_t part) {
    return std::string(valueName) + " " + std::to_string(part);
}

using Rows = std::vector<SessionUsageSource>;

// A turn of Codex changes a row: of ten thousand, only some dozens beside it are written again.
std::vector<std::string> partsOf(const Rows& rows) {
    constexpr std::size_t rowsInPart = 64;
    std::vector<Rows> parts(std::bit_ceil(rows.size() / rowsInPart + 1));
    for (const SessionUsageSource& row : rows) {
        parts[checksum(0, {row.threadId}) % parts.size()].push_back(row);
    }
    std::vector<std::string> bytes;
    bytes.reserve(parts.size());
    for (const Rows& part : parts) bytes.push_back(recordBytes(part));
    return bytes;
}

void sortRows(Rows& rows) {
    std::ranges::sort(rows, [](const SessionUsageSource& a, const SessionUsageSource& b) {
        return std::tie(a.updatedAt, a.threadId) < std::tie(b.updatedAt, b.threadId);
    });
}

/// What is kept, with its rows if all of them are sound.
std::optional<ThreadIndexReading> keptReading(SessionUsageCache& cache) {
    const auto bytes = cache.homeValue(valueName);
    auto reading = bytes ? recordOfBytes<ThreadIndexReading>(*bytes) : std::nullopt;
    if (!reading) return std::nullopt;
    for (std::size_t part = 0; part < reading->partHashes.size(); ++part) {
        const auto partBytes = cache.homeValue(partName(part));
        auto rows = partBytes && checksum(0, {*partBytes}) == reading->partHashes[part]
                        ? recordOfBytes<Rows>(*partBytes)
                        : std::nullopt;
        if (!rows) return std::nullopt;
        std::ranges::move(*rows, std::back_inserter(reading->rows));
    }
    sortRows(reading->rows);
    return reading;
}

void keep(const ThreadIndexReading& reading, const std::vector<std::string>& parts,
          SessionUsageCache& cache) {
    const auto bytes = cache.homeValue(valueName);
    const auto before = bytes ? recordOfBytes<ThreadIndexReading>(*bytes) : std::nullopt;
    const bool areSameParts = before && before->partHashes.size() == parts.size();
    for (std::size_t part = 0; part < parts.size(); ++part) {
        if (areSameParts && before->partHashes[part] == reading.partHashes[part]) continue;
        cache.setHomeValue(partName(part), parts[part]);
    }
    cache.setHomeValue(valueName, recordBytes(reading));
}

std::string fingerprintOf(const StateDatabaseFiles& files) {
    std::string text;
    for (const std::filesystem::path& database : files.databasePaths) {
        std::error_code error;
        const auto target = std::filesystem::canonical(database, error);
        const std::string path = error ? database.native() : target.native();
        text.append(path).append(1, '\0');
        // The shared index of the write-ahead log is written by readers too: its time says nothing.
        text += fileFingerprint({path, path + "-wal"}) + fileSizeFingerprint(path + "-shm");
    }
    return text;
}

// Two changes can fall on one tick of a file system's clock, the second unseen.
bool isSettled(const StateDatabaseFiles& files) {
    constexpr double tick = 2;  // seconds
    return std::ranges::all_of(files.databasePaths, [&](const std::filesystem::path& database) {
        return std::ranges::all_of(std::array{"", "-wal"}, [&](const char* ending) {
            struct stat status {};
            if (::stat((database.native() + ending).c_str(), &status) != 0) return true;
            const double changed = static_cast<double>(status.st_mtim.tv_sec) +
                                   static_cast<double>(status.st_mtim.tv_nsec) / 1e9;
            return Date::now().secondsSince1970() - changed > tick;
        });
    });
}

SQLiteReadResult<ThreadIndexReading> ask(const StateDatabaseFiles& files) {
    const auto state = openStateDatabase(files);
    const auto* database = std::get_if<StateDatabase>(&state);
    if (database == nullptr) return std::get<SQLiteReadFailure>(state);
    const auto totals = readLocalTotals(*database);
    // A database that does not answer is not asked a second time.
    if (const auto* failure = std::get_if<SQLiteReadFailure>(&totals)) return *failure;
    auto rows = readThreadIndex(*database);
    if (const auto* failure = std::get_if<SQLiteReadFailure>(&rows)) return *failure;
    ThreadIndexReading reading{.totals = std::get<SQLiteLocalTotals>(totals),
                               .rows = std::get<Rows>(std::move(rows))};
    sortRows(reading.rows);
    return reading;
}

}  // namespace

SQLiteReadResult<const ThreadIndexReading*> readKeptThreadIndex(const StateDatabaseFiles& files,
                                                                ReaderCaches& caches) {
    const std::string fingerprint = fingerprintOf(files);
    std::optional<ThreadIndexReading>& known = caches.threadIndex;
    const auto holds = [&] { return known && known->fingerprint == fingerprint; };
    if (holds()) return &*known;
    known = keptReading(caches.sessions);
    if (holds()) return &*known;
    const bool isStill = isSettled(files);
    auto answer = ask(files);
    if (const auto* failure = std::get_if<SQLiteReadFailure>(&answer)) return *failure;
    known = std::get<ThreadIndexReading>(std::move(answer));
    const std::vector<std::string> parts = partsOf(known->rows);
    for (const std::string& part : parts) known->partHashes.push_back(checksum(0, {part}));
    if (isStill && fingerprintOf(files) == fingerprint) {
        known->fingerprint = fingerprint;
        keep(*known, parts, caches.sessions);
    }
    return &*known;
}

std::optional<SQLiteLocalTotals> keptThreadTotals(SessionUsageCache::Saved& saved) {
    const auto bytes = saved.homeValue(valueName);
    const auto reading = bytes ? recordOfBytes<ThreadIndexReading>(*bytes) : std::nullopt;
    return reading ? std::optional(reading->totals) : std::nullopt;
}

}  // namespace vantry::CodexUsageReader
