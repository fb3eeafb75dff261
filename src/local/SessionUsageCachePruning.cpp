#include <algorithm>
#include <cstddef>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "local/SessionUsageCacheFile.h"

namespace vantry::CodexUsageReader {

namespace {

// The document that a writer of the whole would make: sorted keys, no blanks.
constexpr std::string_view documentStart = R"({"entries":{)";

std::string documentEnd() {
    return R"(},"version":)" + std::to_string(sessionUsageCacheVersion) + "}";
}

/// Adds an entry's key and value; false, and nothing added, for what could not be read back.
bool appendMember(std::string& document, const std::string& path,
                  const SessionUsageCacheEntry& entry) {
    if (entry.deltaCount() > SessionUsageDeltaStorage::maxStoredCount) return false;
    const std::size_t begin = document.size();
    StoredTextWriter writer(document);
    writer.write(path);
    document += ':';
    writer.write(entry);
    if (!writer.isGood()) document.resize(begin);
    return writer.isGood();
}

/// One entry on its way into the document.
struct Candidate {
    SessionUsageCacheEntries::const_iterator entry;
    std::size_t begin = 0;  ///< of its text
    std::size_t size = 0;   ///< 0 for one that has no text
    bool isKept = false;
};

bool isMoreRecent(const Candidate* a, const Candidate* b) {
    constexpr Date distantPast(-std::numeric_limits<double>::infinity());
    const Date usedA = a->entry->second.lastAccessedAt.value_or(distantPast);
    const Date usedB = b->entry->second.lastAccessedAt.value_or(distantPast);
    return usedA != usedB ? usedA > usedB : a->entry->first < b->entry->first;
}

/// Stamps the active entries and drops the others that have not been used for too long.
void stampAndExpire(SessionUsageCachePruning& pruning) {
    for (auto& [path, entry] : pruning.entries) {
        if (pruning.activePaths.contains(path)) entry.touch(std::nullopt, pruning.now);
    }
    std::erase_if(pruning.entries, [&](const auto& member) {
        const Date used = member.second.lastAccessedAt.value_or(pruning.now);
        return !pruning.activePaths.contains(member.first) && !(pruning.now - used <= pruning.ttl);
    });
}

/// By path, as they stand in the document.
std::vector<Candidate> mostRecentByPath(const SessionUsageCacheEntries& entries,
                                        std::size_t limit) {
    std::vector<Candidate> candidates;
    candidates.reserve(entries.size());
    for (auto entry = entries.begin(); entry != entries.end(); ++entry) {
        candidates.push_back({.entry = entry});
    }
    if (candidates.size() <= limit) return candidates;
    const auto end = candidates.begin() + static_cast<std::ptrdiff_t>(limit);
    std::ranges::nth_element(candidates, end, [](const Candidate& a, const Candidate& b) {
        return isMoreRecent(&a, &b);
    });
    candidates.erase(end, candidates.end());
    std::ranges::sort(candidates, {}, [](const Candidate& each) -> const std::string& {
        return each.entry->first;
    });
    return candidates;
}

/// Marks, by falling recency, what fits into `room` bytes, commas included.
void keepWhatFits(std::vector<Candidate>& candidates, std::size_t room) {
    std::vector<Candidate*> byRecency;
    byRecency.reserve(candidates.size());
    for (Candidate& candidate : candidates) byRecency.push_back(&candidate);
    std::ranges::sort(byRecency, isMoreRecent);
    bool isFirst = true;
    for (Candidate* candidate : byRecency) {
        const std::size_t cost = candidate->size + (isFirst ? 0 : 1);
        candidate->isKept = candidate->size > 0 && cost <= room;
        if (!candidate->isKept) continue;
        room -= cost;
        isFirst = false;
    }
}

/// Moves the texts of the kept candidates together behind the document's start.
void compact(std::string& document, const std::vector<Candidate>& candidates) {
    std::size_t end = documentStart.size();
    for (const Candidate& candidate : candidates) {
        if (!candidate.isKept) continue;
        // Every text was followed by a comma, so that there is room for one.
        if (end > documentStart.size()) document[end++] = ',';
        std::memmove(document.data() + end, document.data() + candidate.begin, candidate.size);
        end += candidate.size;
    }
    document.resize(end);
}

}  // namespace

PrunedSessionUsageCache prunedSessionUsageCache(SessionUsageCachePruning pruning) {
    stampAndExpire(pruning);
    const std::string ending = documentEnd();
    const std::size_t frameSize = documentStart.size() + ending.size();
    const auto limit = static_cast<std::size_t>(std::max<std::int64_t>(pruning.byteLimit, 0));
    std::string document(documentStart);
    if (frameSize > limit) {
        return {.unfitting = std::move(pruning.entries), .document = document + ending};
    }

    // All that may be kept is encoded where it will mostly stay, for as a rule everything fits.
    std::vector<Candidate> candidates = mostRecentByPath(pruning.entries, pruning.entryLimit);
    for (Candidate& candidate : candidates) {
        candidate.begin = document.size();
        if (!appendMember(document, candidate.entry->first, candidate.entry->second)) continue;
        candidate.size = document.size() - candidate.begin;
        document += ',';
    }
    keepWhatFits(candidates, limit - frameSize);
    compact(document, candidates);
    document += ending;
    if (document.size() > limit) {
        return {.entries = std::move(pruning.entries),
                .error = "session cache size estimate exceeded byte limit"};
    }
    SessionUsageCacheEntries kept;
    for (const Candidate& candidate : candidates) {
        if (candidate.isKept) kept.insert(kept.end(), pruning.entries.extract(candidate.entry));
    }
    return {.entries = std::move(kept),
            .unfitting = std::move(pruning.entries),
            .document = std::move(document)};
}

}  // namespace vantry::CodexUsageReader
