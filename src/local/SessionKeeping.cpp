#include "local/SessionKeeping.h"

#include <algorithm>
#include <cctype>
#include <fcntl.h>
#include <iterator>
#include <map>
#include <string_view>
#include <sys/stat.h>
#include <utility>

#include "local/SessionVersions.h"
#include "platform/Text.h"

namespace vantry::CodexUsageReader {

namespace fs = std::filesystem;

namespace {

constexpr double waitingTime = 600;  // seconds

/// What a folder keeps when it is renamed; nothing where the file system does not say when the
/// folder was made, for numbers alone are given again.
std::optional<std::string> identityOf(const fs::path& folder) {
    struct statx status {};
    if (::statx(AT_FDCWD, folder.c_str(), 0, STATX_INO | STATX_BTIME, &status) != 0 ||
        (status.stx_mask & STATX_BTIME) == 0) {
        return std::nullopt;
    }
    return std::to_string(status.stx_dev_major) + ":" + std::to_string(status.stx_dev_minor) + ":" +
           std::to_string(status.stx_ino) + ":" + std::to_string(status.stx_btime.tv_sec) + "." +
           std::to_string(status.stx_btime.tv_nsec);
}

bool isBelow(std::string_view path, std::string_view folder) {
    return path.size() > folder.size() && path.starts_with(folder) && path[folder.size()] == '/';
}

std::string moved(const std::string& path, const std::string& from, const std::string& to) {
    return isBelow(path, from) ? to + path.substr(from.size()) : path;
}

void moveHome(const std::string& from, const std::string& to, SessionUsageCache& cache) {
    std::map<std::string, SessionUsageCacheEntry> entries;
    while (!cache.entries.empty()) {
        auto node = cache.entries.extract(cache.entries.begin());
        if (node.mapped().home == from) {
            node.mapped().home = to;
            node.key() = moved(node.key(), from, to);
        }
        entries.insert(std::move(node));
    }
    cache.entries = std::move(entries);
    std::map<std::string, std::vector<KeptSession>> gone;
    for (auto& [key, versions] : cache.kept.gone) {
        const bool isMoved = !versions.empty() && versions.front().entry.home == from;
        for (KeptSession& kept : versions) {
            if (!isMoved) break;
            kept.entry.home = to;
            kept.path = moved(kept.path, from, to);
            kept.isSaved = false;
        }
        auto& place = gone[isMoved ? KeptSessions::goneKey(to, key.substr(from.size() + 1)) : key];
        std::ranges::move(versions, std::back_inserter(place));
    }
    cache.kept.gone = std::move(gone);
    cache.hasChanges = true;
}

using LiveSegments = std::map<std::string, std::vector<const SessionUsageCacheEntry*>>;

std::string segmentOf(const std::string& path, const SessionUsageCacheEntry& entry) {
    return sessionSegmentId(path, entry.lineage->threadId);
}

bool isCoveredByAny(const std::string& segment, const SessionUsageCacheEntry& entry,
                    const LiveSegments& live) {
    const auto found = live.find(segment);
    return found != live.end() && std::ranges::any_of(found->second, [&](const auto* other) {
               return SessionVersions::isCovered(entry, *other);
           });
}

// Kept once, however often a log comes and goes.
void keep(const std::string& path, SessionUsageCacheEntry entry, SessionUsageCache& cache) {
    if (entry.deltaCount() == 0 && entry.toolCalls.empty()) return;
    auto& versions = cache.kept.gone[KeptSessions::goneKey(entry.home, segmentOf(path, entry))];
    for (const KeptSession& kept : versions) {
        if (SessionVersions::isCovered(entry, kept.entry)) return;
    }
    std::erase_if(versions, [&](const KeptSession& kept) {
        return SessionVersions::isCovered(kept.entry, entry);
    });
    versions.push_back({.path = validUtf8(path), .entry = std::move(entry)});
    cache.hasKeptChanges = true;
}

bool isId(std::string_view text) {
    return std::ranges::all_of(
        text, [](unsigned char byte) { return std::isxdigit(byte) != 0 || byte == '-'; });
}

}  // namespace

std::string sessionHomeName(const fs::path& codexHome) {
    return validUtf8(codexHome.native());
}

std::string sessionThreadIdOfFile(const std::string& path) {
    constexpr std::string_view before = "rollout-2026-01-01T00-00-00-";
    constexpr std::size_t idSize = 36;
    std::string stem = sessionFileStem(path);
    if (stem.size() < before.size() + idSize) return stem;
    std::string id = stem.substr(before.size(), idSize);
    return isId(id) ? id : stem;
}

void loadKeptSessions(const fs::path& file, SessionUsageCache& cache) {
    if (file.empty()) return;
    const auto found = SessionFileSnapshot::of(file);
    if (found && found == cache.keptFile) return;
    if (!found && !cache.keptFile) return;
    KeptSessionsReading reading = readKeptSessions(file);
    KeptSessions unsaved = std::exchange(cache.kept, std::move(reading.kept));
    cache.mayWriteKept = reading.mayWrite;
    cache.keptFile = reading.mayWrite ? found : std::nullopt;  // to be tried again
    for (auto& [key, versions] : unsaved.gone) {
        for (KeptSession& kept : versions) {
            if (!kept.isSaved) keep(kept.path, std::move(kept.entry), cache);
        }
    }
    if (cache.hasKeptChanges) cache.kept.troubles.merge(unsaved.troubles);
}

bool saveKeptSessions(const fs::path& file, SessionUsageCache& cache) {
    if (!cache.hasKeptChanges || file.empty()) return true;
    loadKeptSessions(file, cache);  // another process may have written meanwhile
    if (!cache.mayWriteKept || !writeKeptSessions(cache.kept, file)) return false;
    for (auto& [key, versions] : cache.kept.gone) {
        for (KeptSession& kept : versions) kept.isSaved = true;
    }
    cache.hasKeptChanges = false;
    cache.keptFile = SessionFileSnapshot::of(file);
    return true;
}

void adoptSessionHome(const fs::path& codexHome, SessionUsageCache& cache) {
    const std::string home = sessionHomeName(codexHome);
    // Earlier formats did not say it.
    for (auto& [path, entry] : cache.entries) {
        if (entry.home.empty() && isBelow(path, home)) entry.home = home;
    }
    const auto identity = identityOf(codexHome);
    if (!identity) return;
    auto& homes = cache.kept.homes;
    const auto known = homes.find(home);
    if (known != homes.end() && known->second == *identity) return;
    const auto before = std::ranges::find_if(
        homes, [&](const auto& each) { return each.first != home && each.second == *identity; });
    if (before != homes.end()) {
        // Who was here before goes with its own folder, wherever that is now.
        if (known != homes.end()) {
            const std::string aside = home + " " + known->second;
            moveHome(home, aside, cache);
            homes.insert_or_assign(aside, known->second);
        }
        moveHome(before->first, home, cache);
        homes.erase(before);
    }
    homes.insert_or_assign(home, *identity);
    cache.hasKeptChanges = true;
}

void keepOutcome(SessionReadKeeping keeping, SessionUsageCache& cache) {
    SessionReadOutcome& outcome = keeping.outcome;
    const auto known = cache.entries.find(keeping.path);
    if (outcome.route == SessionReadRoute::hit && known != cache.entries.end()) {
        known->second.touch(outcome.file->fileIdentifier, keeping.now);
    }
    if (!outcome.entry) return;
    if (known != cache.entries.end() && known->second.isCurrent && known->second.isCounted &&
        outcome.route == SessionReadRoute::whole &&
        (segmentOf(keeping.path, known->second) != segmentOf(keeping.path, *outcome.entry) ||
         !SessionVersions::isCovered(known->second, *outcome.entry))) {
        keep(keeping.path, std::move(known->second), cache);
    } else if (known != cache.entries.end()) {
        outcome.entry->isCounted = known->second.isCounted;
    }
    cache.entries.insert_or_assign(keeping.path, *std::move(outcome.entry));
    cache.hasChanges = true;
}

void keepVanishedSessions(const VanishedSessions& vanished, SessionUsageCache& cache) {
    const std::string home = sessionHomeName(vanished.codexHome);
    LiveSegments live;
    const auto findLive = [&] {
        if (!live.empty()) return;
        for (const std::string& path : vanished.livePaths) {
            const auto entry = cache.entries.find(path);
            if (entry == cache.entries.end()) continue;
            live[segmentOf(path, entry->second)].push_back(&entry->second);
        }
    };
    for (auto entry = cache.entries.begin(); entry != cache.entries.end();) {
        if (entry->second.home != home || vanished.livePaths.contains(entry->first)) {
            ++entry;
            continue;
        }
        findLive();
        const std::string segment = segmentOf(entry->first, entry->second);
        if (entry->second.isCounted && !isCoveredByAny(segment, entry->second, live)) {
            keep(entry->first, std::move(entry->second), cache);
        }
        entry = cache.entries.erase(entry);
        cache.hasChanges = true;
    }
    const auto settled = std::erase_if(cache.kept.troubles, [&](const auto& known) {
        return isBelow(known.first, home) && !vanished.livePaths.contains(known.first);
    });
    if (settled > 0) cache.hasKeptChanges = true;
}

void keepSession(const std::string& path, const SessionUsageCacheEntry& entry,
                 SessionUsageCache& cache) {
    keep(path, entry, cache);
}

void forgetReturnedSession(const std::string& path, const SessionUsageCacheEntry& entry,
                           SessionUsageCache& cache) {
    const auto versions =
        cache.kept.gone.find(KeptSessions::goneKey(entry.home, segmentOf(path, entry)));
    if (versions == cache.kept.gone.end()) return;
    const auto back = std::erase_if(versions->second, [&](const KeptSession& kept) {
        return SessionVersions::isCovered(kept.entry, entry);
    });
    if (versions->second.empty()) cache.kept.gone.erase(versions);
    if (back > 0) cache.hasKeptChanges = true;
}

bool rememberSessionTrouble(const SessionTroubleSighting& sighting, SessionUsageCache& cache) {
    if (sighting.trouble == SessionLogTrouble::outOfResources) return true;
    auto& troubles = cache.kept.troubles;
    KnownSessionTrouble now{
        .trouble = sighting.trouble, .file = sighting.file, .firstSeenAt = sighting.now};
    const auto known = troubles.find(sighting.path);
    if (known != troubles.end()) now.firstSeenAt = known->second.firstSeenAt;
    if (known == troubles.end() || known->second != now) {
        troubles.insert_or_assign(sighting.path, now);
        cache.hasKeptChanges = true;
    }
    const auto isRecent = [&](std::optional<Date> date) {
        return date && *date <= sighting.now && sighting.now - *date <= waitingTime;
    };
    switch (sighting.trouble) {
        case SessionLogTrouble::notRegular:
        case SessionLogTrouble::outside:
            return false;
        case SessionLogTrouble::timeRanOut:
        case SessionLogTrouble::changed:
            return isRecent(now.firstSeenAt);
        default:
            return sighting.file && isRecent(sighting.file->modificationDate()) &&
                   isRecent(now.firstSeenAt);
    }
}

void forgetSessionTrouble(const std::string& path, SessionUsageCache& cache) {
    if (cache.kept.troubles.erase(path) > 0) cache.hasKeptChanges = true;
}

}  // namespace vantry::CodexUsageReader
