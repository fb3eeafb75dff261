#include "local/cache/LocalAnalyticsCache.h"

#include "diagnostics/DebugLog.h"
#include "platform/Compression.h"
#include "platform/JsonWriter.h"
#include "platform/RecordBytes.h"

namespace vantry::CodexUsageReader {

std::optional<LocalAnalyticsCacheEntry> readPersistentLocalAnalyticsCache(std::string_view bytes) {
    RecordBytesReader reader(bytes);
    std::uint64_t size = 0;
    std::string packed;
    reader.read(size);
    reader.read(packed);
    if (!reader.isDone() || size > localAnalyticsCacheByteLimit) return std::nullopt;
    const auto text = size == 0 ? packed : decompressed(packed, size);
    const auto document = text ? JsonDocument::parse(*text) : std::nullopt;
    if (!document) return std::nullopt;
    // An entry of another version may have any shape.
    if (document->root()["version"].integer() != localAnalyticsCacheVersion) return std::nullopt;
    LocalAnalyticsCacheEntry entry;
    if (!decode(document->root(), entry)) return std::nullopt;
    return entry;
}

std::optional<std::string> persistentLocalAnalyticsCache(const LocalAnalyticsCacheEntry& entry,
                                                         std::int64_t maxByteCount) {
    const auto text = writeJson(encode(entry, RecordForm::stored), JsonLayout::compact);
    if (!text || static_cast<std::int64_t>(text->size()) > maxByteCount) {
        debugLog("local analytics cache: the entry is too large or cannot be encoded");
        return std::nullopt;
    }
    const auto packed = compressed(*text);
    std::string bytes;
    RecordBytesWriter writer(bytes);
    writer.write(packed ? text->size() : std::size_t{0});
    writer.write(packed.value_or(*text));
    return bytes;
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
