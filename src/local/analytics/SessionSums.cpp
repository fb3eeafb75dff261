#include "local/analytics/SessionSums.h"

#include <algorithm>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "local/cache/LocalAnalyticsCache.h"
#include "platform/Checksum.h"
#include "platform/RecordBytes.h"

namespace vantry {

namespace {

constexpr const char* sumsName = "sums";
constexpr const char* stampsName = "sums stamps";

/// What all threads but the open ones add up to.
struct SettledSums {
    std::int64_t version = 0;
    std::string dayKey;
    std::string timeZoneIdentifier;
    std::uint64_t stamp = 0;  ///< of all logs that are in it
    std::vector<std::string> openThreads;
    std::vector<LocalUsageGap> gaps;
    std::string aggregation;  ///< bytes
};

}  // namespace

template <>
struct RecordFields<SettledSums> {
    static constexpr std::tuple list{field("version", &SettledSums::version),
                                     field("dayKey", &SettledSums::dayKey),
                                     field("timeZoneIdentifier", &SettledSums::timeZoneIdentifier),
                                     field("stamp", &SettledSums::stamp),
                                     field("openThreads", &SettledSums::openThreads),
                                     field("gaps", &SettledSums::gaps),
                                     field("aggregation", &SettledSums::aggregation)};
};

namespace CodexUsageReader {

namespace {

using Sessions = std::vector<const LoadedSessionUsage*>;

/// Enough of a stamp to find what changed: of two that are taken for one the sum tells.
using ShortStamp = std::uint32_t;

/// Threads whose logs hold requests of one another, by the name of one of them.
class ThreadGroups {
  public:
    explicit ThreadGroups(const LoadedSessions& loaded) {
        for (const LoadedSessionUsage& session : loaded.sessions) {
            for (const std::string& copied : session.head().copiedThreads) {
                next_[groupOf(copied)] = groupOf(session.source.threadId);
            }
        }
    }

    std::string_view groupOf(std::string_view thread) const {
        for (auto next = next_.find(thread); next != next_.end() && next->second != thread;
             next = next_.find(thread)) {
            thread = next->second;
        }
        return thread;
    }

  private:
    std::unordered_map<std::string_view, std::string_view> next_;
};

/// Stands for all that decides what a log adds and which gaps it names.
std::uint64_t stampOf(const LoadedSessionUsage& session, const SessionFamilies& families) {
    const SessionHead& head = session.head();
    const SessionUsageSource& source = session.source;
    const SessionUsageSource& root = rootConversationSource(session, families);
    const std::int64_t flags = (source.isSubagent ? 1 : 0) | (root.isSubagent ? 2 : 0) |
                               (head.hasTokenEvents ? 4 : 0) | (session.isGone ? 8 : 0);
    std::string numbers;
    RecordBytesWriter writer(numbers);
    writer.write(flags);
    writer.write(head.tokenEventCount);
    writer.write(head.lines.unreadable);
    writer.write(head.lines.disagreeing);
    writer.write(source.updatedAt);
    return checksum(head.shareSources, {numbers, source.threadId, source.rolloutPath, source.cwd,
                                        source.title.value_or(""), source.model.value_or("\n"),
                                        root.threadId, root.title.value_or("")});
}

class Summing {
  public:
    explicit Summing(const SessionSumRequest& request)
        : request_(request), groups_(request.loaded), families_(*request.loaded.families) {
        for (const LoadedSessionUsage& session : request.loaded.sessions) {
            items_.push_back({.session = &session,
                              .group = groups_.groupOf(session.source.threadId),
                              .stamp = stampOf(session, families_)});
        }
        openRestless();
    }

    SessionSums run() {
        auto kept = keptSums();
        if (kept) {
            for (const std::string& thread : kept->openThreads) open(thread);
            if (kept->stamp == settledStamp() && restore(*kept)) return visitOpen();
            openChanged();
        }
        if (!kept || isTooMuchOpen()) openRecent();
        settle();
        return visitOpen();
    }

  private:
    struct Item {
        const LoadedSessionUsage* session;
        std::string_view group;
        std::uint64_t stamp;
    };

    void open(std::string_view thread) { open_.insert(groups_.groupOf(thread)); }
    bool isOpen(const Item& item) const { return open_.contains(item.group); }

    // What counts for them is another thing each time, or hangs on what has no log.
    void openRestless() {
        for (const Item& item : items_) {
            const SessionHead& head = item.session->head();
            const bool hangsOnOthers = std::ranges::any_of(
                head.copiedThreads,
                [&](const std::string& thread) { return families_.ofThread(thread).empty(); });
            if (head.shareNextWaiting || hangsOnOthers) open_.insert(item.group);
        }
    }

    void openRecent() {
        constexpr double recent = 86'400;  // seconds before today
        open_.clear();
        openRestless();
        for (const Item& item : items_) {
            const Date since = request_.windows.todayStart - recent;
            if (item.session->source.updatedAt >= since) open_.insert(item.group);
        }
    }

    // Those that have a log of which the sums of before knew nothing.
    void openChanged() {
        const auto bytes = request_.cache.homeValue(stampsName);
        const auto stamps = bytes ? recordOfBytes<std::vector<ShortStamp>>(*bytes) : std::nullopt;
        std::unordered_set<ShortStamp> known;
        if (stamps) known.insert(stamps->begin(), stamps->end());
        for (const Item& item : items_) {
            if (!known.contains(static_cast<ShortStamp>(item.stamp))) open_.insert(item.group);
        }
    }

    bool isTooMuchOpen() const {
        constexpr std::ptrdiff_t usual = 256;
        const auto count =
            std::ranges::count_if(items_, [&](const Item& item) { return isOpen(item); });
        return count > usual && count > std::ssize(items_) / 8;
    }

    std::optional<SettledSums> keptSums() const {
        const auto bytes = request_.cache.homeValue(sumsName);
        auto kept = bytes ? recordOfBytes<SettledSums>(*bytes) : std::nullopt;
        const bool isOfToday = kept && kept->version == localAnalyticsCacheVersion &&
                               kept->dayKey == request_.day.dayKey &&
                               kept->timeZoneIdentifier == request_.day.timeZoneIdentifier;
        return isOfToday ? std::move(kept) : std::nullopt;
    }

    // In no order, as logs have none.
    std::uint64_t settledStamp() const {
        std::uint64_t sum = 0;
        for (const Item& item : items_) sum += isOpen(item) ? 0 : item.stamp;
        return sum;
    }

    std::unique_ptr<SessionAggregation> emptySums() const {
        return std::make_unique<SessionAggregation>(request_.statistics, request_.windows,
                                                    request_.cutoff);
    }

    bool restore(const SettledSums& kept) {
        auto aggregation = emptySums();
        RecordBytesReader reader(kept.aggregation);
        reader.read(*aggregation);
        if (!reader.isDone()) return false;
        sums_.aggregation = std::move(aggregation);
        sums_.gaps.list = kept.gaps;
        return true;
    }

    void settle() {
        sums_ = {.aggregation = emptySums()};
        visit(false);
        sums_.aggregation->settleThreads();
        if (!sums_.isWhole) return;
        SettledSums kept{.version = localAnalyticsCacheVersion,
                         .dayKey = request_.day.dayKey,
                         .timeZoneIdentifier = request_.day.timeZoneIdentifier,
                         .stamp = settledStamp(),
                         .gaps = sums_.gaps.list,
                         .aggregation = recordBytes(*sums_.aggregation)};
        std::vector<ShortStamp> stamps;
        for (const Item& item : items_) {
            if (!isOpen(item)) {
                stamps.push_back(static_cast<ShortStamp>(item.stamp));
            } else if (kept.openThreads.empty() ||
                       kept.openThreads.back() != item.session->source.threadId) {
                kept.openThreads.push_back(item.session->source.threadId);
            }
        }
        request_.cache.setHomeValue(sumsName, recordBytes(kept));
        request_.cache.setHomeValue(stampsName, recordBytes(stamps));
    }

    SessionSums visitOpen() {
        visit(true);
        return std::move(sums_);
    }

    void visit(bool areOpen) {
        Sessions sessions;
        for (const Item& item : items_) {
            if (isOpen(item) == areOpen) sessions.push_back(item.session);
        }
        const bool isWhole =
            visitShares({.loaded = request_.loaded,
                         .cache = request_.cache,
                         .cutoff = request_.cutoff,
                         .gaps = sums_.gaps,
                         .only = &sessions},
                        [&](const VisitedSession& session) { sums_.aggregation->add(session); });
        sums_.isWhole = sums_.isWhole && isWhole;
    }

    const SessionSumRequest& request_;
    ThreadGroups groups_;
    const SessionFamilies& families_;
    std::vector<Item> items_;
    std::unordered_set<std::string_view> open_;  ///< groups
    SessionSums sums_;
};

}  // namespace

SessionSums addUpShares(const SessionSumRequest& request) {
    return Summing(request).run();
}

}  // namespace CodexUsageReader

}  // namespace vantry
