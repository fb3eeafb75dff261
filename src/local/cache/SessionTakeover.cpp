#include "local/cache/SessionTakeover.h"

#include <string_view>
#include <system_error>
#include <utility>

#include "diagnostics/DebugLog.h"
#include "io/BoundedCacheData.h"
#include "local/log/SessionLogReader.h"

namespace vantry {

namespace {

namespace fs = std::filesystem;

struct KeptSession {
    std::string path;
    SessionUsageCacheEntry entry;
};

struct KeptSessions {
    std::map<std::string, std::vector<KeptSession>> gone;  // by home and segment
    std::map<std::string, KnownSessionTrouble> troubles;
    std::map<std::string, std::string> homes;
};

}  // namespace

template <>
struct RecordFields<KeptSession> {
    static constexpr std::tuple list{field("path", &KeptSession::path),
                                     field("entry", &KeptSession::entry)};
};

template <>
struct RecordFields<KeptSessions> {
    static constexpr std::tuple list{field("gone", &KeptSessions::gone),
                                     field("troubles", &KeptSessions::troubles),
                                     field("homes", &KeptSessions::homes)};
};

namespace CodexUsageReader {

namespace {

constexpr std::int64_t byteLimit = std::int64_t{4} * 1024 * 1024 * 1024;

// Entries of the version before do not say which home they were counted in: it is what stands
// before the folder of the logs.
std::string homeOf(const std::string& path) {
    std::size_t size = 0;
    for (const std::string_view folder : {"/sessions/", "/archived_sessions/"}) {
        const std::size_t at = path.rfind(folder);
        if (at != std::string::npos) size = std::max(size, at);
    }
    return path.substr(0, size);
}

void take(std::string path, SessionUsageCacheEntry entry, bool isGone, SessionTakeover& takeover) {
    if (entry.home.empty()) entry.home = homeOf(path);
    if (!entry.lineage)
        entry.lineage = SessionUsageLineage{.threadId = sessionThreadIdOfFile(path)};
    if (!entry.isCurrent) entry.isCounted = true;  // as all were then
    takeover.sessions.push_back(
        {.path = std::move(path), .entry = std::move(entry), .isGone = isGone});
}

void takeCache(const fs::path& file, SessionTakeover& takeover) {
    const auto bytes = boundedCacheData(file, byteLimit);
    const auto document = bytes ? JsonDocument::parse(*bytes) : std::nullopt;
    if (!document) return;
    const auto version = document->root()["version"].integer();
    if (version != 13 && version != 14) return;
    document->root()["entries"].forEachMember([&](std::string_view path, JsonView value) {
        auto reading = readSessionUsageCacheEntry(value);
        if (reading.entry) {
            take(std::string(path), *std::move(reading.entry), false, takeover);
        } else {
            debugLog("former session cache: " + reading.error);
        }
        return true;
    });
    takeover.files.push_back(file);
}

void takeKept(const fs::path& file, SessionTakeover& takeover) {
    const auto bytes = boundedCacheData(file, byteLimit);
    const auto document = bytes ? JsonDocument::parse(*bytes) : std::nullopt;
    if (!document || document->root()["version"].integer() != 1) return;
    KeptSessions kept;
    if (!decode(document->root()["kept"], kept)) return;
    for (auto& [key, versions] : kept.gone) {
        for (KeptSession& each : versions) {
            if (!each.entry.damage().empty()) continue;
            take(std::move(each.path), std::move(each.entry), true, takeover);
        }
    }
    takeover.troubles = std::move(kept.troubles);
    takeover.homes = std::move(kept.homes);
    takeover.files.push_back(file);
}

}  // namespace

SessionTakeover readSessionTakeover(const fs::path& directory) {
    SessionTakeover takeover;
    std::error_code error;
    const auto takeIfThere = [&](const char* name, auto takeFile) {
        if (fs::exists(directory / name, error)) takeFile(directory / name, takeover);
    };
    takeIfThere("session-usage-v1.json", takeCache);
    takeIfThere("kept-sessions-v1.json", takeKept);
    // Of no use any more.
    for (const char* name : {"local-analytics-v2.json", "kept-sessions-v1.json.lock"}) {
        if (fs::exists(directory / name, error)) takeover.files.push_back(directory / name);
    }
    return takeover;
}

}  // namespace CodexUsageReader

}  // namespace vantry
