#include "local/cache/SessionKeeping.h"

#include <algorithm>
#include <cctype>
#include <map>
#include <string_view>
#include <utility>
#include <vector>

namespace vantry::CodexUsageReader {

namespace {

constexpr double waitingTime = 600;  // seconds

using LiveSegments = std::map<std::string, std::vector<const KnownSession*>>;

bool isCoveredByAny(const KnownSession& session, const LiveSegments& live,
                    SessionUsageCache& cache) {
    const auto found = live.find(segmentOf(session));
    return found != live.end() && std::ranges::any_of(found->second, [&](const auto* other) {
               return cache.isCovered(session, *other);
           });
}

}  // namespace

void keepReadSession(KnownSession session, SessionReadRoute route, SessionUsageCache& cache) {
    const auto before = cache.live.find(session.path);
    if (before != cache.live.end()) {
        const KnownSession& known = before->second;
        const bool mayHaveLost =
            known.head.isCurrent && known.head.isCounted && route == SessionReadRoute::whole;
        if (mayHaveLost &&
            (segmentOf(known) != segmentOf(session) || !cache.isCovered(known, session))) {
            cache.retire(before);
        } else {
            session.head.isCounted = known.head.isCounted;
        }
    }
    cache.setLive(std::move(session));
}

void keepVanishedSessions(const VanishedSessions& vanished, SessionUsageCache& cache) {
    LiveSegments live;
    const auto findLive = [&] {
        if (!live.empty()) return;
        for (const auto& [path, session] : cache.live) {
            if (vanished.livePaths.contains(path)) live[segmentOf(session)].push_back(&session);
        }
    };
    for (auto place = cache.live.begin(); place != cache.live.end();) {
        if (vanished.livePaths.contains(place->first)) {
            ++place;
            continue;
        }
        findLive();
        const KnownSession& session = place->second;
        if (session.head.isCounted && !isCoveredByAny(session, live, cache)) {
            place = cache.retire(place);
        } else {
            place = cache.eraseLive(place);
        }
    }
    const auto settled = std::erase_if(cache.troubles, [&](const auto& known) {
        return !vanished.livePaths.contains(known.first);
    });
    if (settled > 0) cache.noteTroubleChange();
}

void keepSession(const KnownSession& session, SessionUsageCache& cache) {
    if (auto copy = cache.copyOf(session)) cache.keepGone(*std::move(copy));
}

bool rememberSessionTrouble(const SessionTroubleSighting& sighting, SessionUsageCache& cache) {
    if (sighting.trouble == SessionLogTrouble::outOfResources) return true;
    auto& troubles = cache.troubles;
    KnownSessionTrouble now{
        .trouble = sighting.trouble, .file = sighting.file, .firstSeenAt = sighting.now};
    const auto known = troubles.find(sighting.path);
    if (known != troubles.end()) now.firstSeenAt = known->second.firstSeenAt;
    if (known == troubles.end() || known->second != now) {
        troubles.insert_or_assign(sighting.path, now);
        cache.noteTroubleChange();
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
    if (cache.troubles.erase(path) > 0) cache.noteTroubleChange();
}

}  // namespace vantry::CodexUsageReader
