#include "local/cache/SessionVersions.h"

#include <algorithm>
#include <optional>

namespace vantry::SessionVersions {

std::vector<SessionUsageDelta> comparable(const SessionUsageCacheEntry& entry,
                                          std::span<const SessionUsageDelta> deltas) {
    std::vector<SessionUsageDelta> events(deltas.begin(), deltas.end());
    const auto& first = entry.firstReading;
    if (!entry.lineage || !entry.lineage->historyBase || !first || !first->last) return events;
    const auto at = static_cast<std::size_t>(first->deltaIndex.value_or(0));
    if (first->deltaIndex && at < events.size() && events[at].tokens == first->total) {
        events[at].tokens = *first->last;
    }
    return events;
}

namespace {

// Whether both stand for one line of the log. A reading whose neighbour is missing shows another
// growth at the same moment.
bool isSameLine(const SessionUsageDelta& a, const SessionUsageDelta& b) {
    const bool areReadings = !a.isRecord() && !b.isRecord();
    return areReadings ? a.date == b.date : a.isSameEvent(b);
}

// How many events before `at`, back to `first`, have to be added to the growth at `at` to make up
// `wanted`; nothing where they do not, or a record stands between.
std::optional<std::size_t> stepsThatMakeUp(const TokenBreakdown& wanted,
                                           std::span<const SessionUsageDelta> events,
                                           std::size_t first, std::size_t at) {
    TokenBreakdown sum = events[at].tokens;
    for (std::size_t steps = 0;; ++steps) {
        if (sum == wanted) return steps;
        if (at - steps == first || events[at - steps - 1].isRecord()) return std::nullopt;
        sum.add(events[at - steps - 1].tokens);
    }
}

}  // namespace

std::vector<bool> sharedEvents(std::span<const SessionUsageDelta> part,
                               std::span<const SessionUsageDelta> whole) {
    constexpr double farther = 60;  // seconds: the times of a log can go back by a little
    std::vector<bool> shared(part.size());
    std::size_t next = 0;
    std::size_t unshared = 0;  // events of `part` from here on are not known to be shared
    for (std::size_t i = 0; i < part.size(); ++i) {
        for (std::size_t at = next;
             at < whole.size() && (at == next || whole[at].date - part[i].date <= farther); ++at) {
            if (!isSameLine(part[i], whole[at])) continue;
            // Lines that one of the two lacks are in the growth that the other shows here.
            const auto lacking = stepsThatMakeUp(whole[at].tokens, part, unshared, i);
            const bool isShared = part[i].isRecord() || whole[at].isRecord() || lacking ||
                                  stepsThatMakeUp(part[i].tokens, whole, next, at).has_value();
            shared[i] = isShared;
            for (std::size_t back = 1; back <= lacking.value_or(0); ++back) shared[i - back] = true;
            next = at + 1;
            unshared = i + 1;
            break;
        }
    }
    return shared;
}

bool isCovered(const SessionUsageCacheEntry& part, const SessionUsageCacheEntry& whole) {
    if (part.deltaCount() == 0) return true;
    const auto ours = part.deltaStorage.decoded().deltas;
    if (!ours) return true;
    const auto theirs = whole.deltaStorage.decoded().deltas;
    if (!theirs) return false;
    const auto shared = sharedEvents(comparable(part, *ours), comparable(whole, *theirs));
    return std::ranges::all_of(shared, [](bool isShared) { return isShared; });
}

Choice longer(const KnownSession& first, const KnownSession& second, SessionUsageCache& cache) {
    const SessionHead& one = first.head;
    const SessionHead& other = second.head;
    if (cache.isCovered(second, first)) {
        return {.isSecond = other.deltaCount == one.deltaCount && other.logSize > one.logSize};
    }
    if (cache.isCovered(first, second)) return {.isSecond = true};
    return {.isSecond = other.logSize > one.logSize, .partsFromOther = true};
}

}  // namespace vantry::SessionVersions
