#include "local/LocalAnalyticsCache.h"

#include <system_error>

#include "diagnostics/DebugLog.h"
#include "io/BoundedCacheData.h"
#include "platform/AtomicFile.h"
#include "platform/JsonWriter.h"

namespace vantry::CodexUsageReader {

namespace fs = std::filesystem;

fs::path localAnalyticsCacheURL(const fs::path& cacheDirectory) {
    return cacheDirectory.empty() ? fs::path() : cacheDirectory / "local-analytics-v2.json";
}

std::optional<LocalAnalyticsCacheEntry> readPersistentLocalAnalyticsCache(const fs::path& file) {
    if (file.empty()) return std::nullopt;
    const auto bytes = boundedCacheData(file, localAnalyticsCacheByteLimit);
    const auto document = bytes ? JsonDocument::parse(*bytes) : std::nullopt;
    if (!document) return std::nullopt;
    // An entry of another version may have any shape.
    if (document->root()["version"].integer() != localAnalyticsCacheVersion) return std::nullopt;
    LocalAnalyticsCacheEntry entry;
    if (!decode(document->root(), entry)) return std::nullopt;
    return entry;
}

bool writePersistentLocalAnalyticsCache(const LocalAnalyticsCacheWrite& write) {
    if (write.cacheURL.empty()) return false;
    const auto text = writeJson(encode(write.entry, RecordForm::stored), JsonLayout::compact);
    if (!text || static_cast<std::int64_t>(text->size()) > write.maxByteCount) {
        debugLog("local analytics cache: the entry is too large or cannot be encoded");
        return false;
    }
    std::error_code error;
    fs::create_directories(write.cacheURL.parent_path(), error);
    if (!error) error = replaceFileAtomically(write.cacheURL, *text);
    if (error) debugLog("local analytics cache: " + error.message());
    return !error;
}

const LocalAnalyticsCacheEntry* lastCompleteLocalAnalyticsCache(const LocalAnalyticsCache& cache,
                                                                const LocalAnalyticsDay& day) {
    for (const auto* entry : {&cache.memory, &cache.persistent}) {
        if (*entry && (*entry)->version == localAnalyticsCacheVersion &&
            (*entry)->dayKey == day.dayKey &&
            (*entry)->timeZoneIdentifier == day.timeZoneIdentifier &&
            (*entry)->analytics.detailedUsage) {
            return &**entry;
        }
    }
    return nullptr;
}

bool isMadeFrom(const LocalAnalyticsCacheEntry& entry, const LocalAnalyticsSources& sources) {
    return entry.version == localAnalyticsCacheVersion && entry.dayKey == sources.day.dayKey &&
           entry.timeZoneIdentifier == sources.day.timeZoneIdentifier &&
           entry.databaseFingerprint == sources.databaseFingerprint &&
           entry.sourceFingerprint == sources.sourceFingerprint;
}

}  // namespace vantry::CodexUsageReader
