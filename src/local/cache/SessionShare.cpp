#include "local/cache/SessionShare.h"

#include <algorithm>
#include <cmath>
#include <tuple>
#include <utility>

namespace vantry {

namespace {

void keepLater(std::optional<Date>& kept, std::optional<Date> date) {
    if (date && (!kept || *date > *kept)) kept = date;
}

void keepEarlier(std::optional<Date>& kept, std::optional<Date> date) {
    if (date && (!kept || *date < *kept)) kept = date;
}

std::int64_t quarterOf(Date date) {
    return static_cast<std::int64_t>(
        std::floor(date.secondsSince1970() / SessionShareBucket::seconds));
}

SessionShareEvent eventOf(const SessionUsageDelta& delta) {
    return {.date = delta.date, .tokens = delta.tokens, .model = delta.model};
}

SessionShareBucket& bucketOf(const SessionShareEvent& event, std::vector<std::string>& models,
                             std::vector<SessionShareBucket>& buckets) {
    std::int64_t model = 0;
    if (event.model) {
        const auto known = std::ranges::find(models, *event.model);
        model = known - models.begin() + 1;
        if (known == models.end()) models.push_back(*event.model);
    }
    const std::int64_t quarter = quarterOf(event.date);
    const auto isBefore = [](const SessionShareBucket& bucket, const auto& place) {
        return std::tie(bucket.quarter, bucket.model) < place;
    };
    auto bucket =
        std::lower_bound(buckets.begin(), buckets.end(), std::tie(quarter, model), isBefore);
    if (bucket == buckets.end() || bucket->quarter != quarter || bucket->model != model) {
        bucket = buckets.insert(bucket, {.quarter = quarter, .model = model});
    }
    return *bucket;
}

std::vector<SessionShareSkill> skillsOf(const std::vector<SkillLoadEvent>& loads) {
    std::map<std::string, SessionShareSkill> byPath;
    for (const SkillLoadEvent& load : loads) {
        SessionShareSkill& skill = byPath[load.path];
        ++skill.loadCount;
        keepLater(skill.lastLoadedAt, load.date);
    }
    std::vector<SessionShareSkill> skills;
    for (auto& [path, skill] : byPath) {
        skill.path = path;
        skills.push_back(std::move(skill));
    }
    return skills;
}

}  // namespace

void SessionShareBucket::add(const TokenBreakdown& event) {
    tokens.add(event);
    visibleTokens = saturatingAdd(visibleTokens, event.visibleTotalTokens());
    uncachedInputTokens = saturatingAdd(uncachedInputTokens, event.uncachedInputTokens());
    billableCachedInputTokens =
        saturatingAdd(billableCachedInputTokens, event.billableCachedInputTokens());
}

void SessionShareBucket::add(const SessionShareBucket& other) {
    tokens.add(other.tokens);
    visibleTokens = saturatingAdd(visibleTokens, other.visibleTokens);
    uncachedInputTokens = saturatingAdd(uncachedInputTokens, other.uncachedInputTokens);
    billableCachedInputTokens =
        saturatingAdd(billableCachedInputTokens, other.billableCachedInputTokens);
}

void SessionShareBucket::makePlain() {
    tokens.totalTokens = tokens.splitTotalTokens();
    visibleTokens = tokens.totalTokens;
    billableCachedInputTokens = tokens.cachedInputTokens;
    const std::int64_t cached = std::max(tokens.cachedInputTokens, -INT64_MAX);
    uncachedInputTokens = saturatingAdd(tokens.inputTokens, -cached);
}

SessionShareBuckets SessionShareBuckets::of(const std::vector<SessionShareBucket>& buckets) {
    SessionShareBuckets packed;
    RecordBytesWriter writer(packed.bytes_);
    std::int64_t quarter = 0;
    for (const SessionShareBucket& bucket : buckets) {
        SessionShareBucket plain = bucket;
        plain.makePlain();
        const bool isPlain = plain == bucket;
        writer.write(bucket.quarter - std::exchange(quarter, bucket.quarter));
        writer.write(bucket.model << 1 | (isPlain ? 0 : 1));
        for (const std::int64_t number :
             {bucket.tokens.inputTokens, bucket.tokens.cachedInputTokens,
              bucket.tokens.outputTokens, bucket.tokens.reasoningOutputTokens}) {
            writer.write(number);
        }
        if (isPlain) continue;
        for (const std::int64_t number :
             {bucket.tokens.totalTokens, bucket.visibleTokens, bucket.uncachedInputTokens,
              bucket.billableCachedInputTokens}) {
            writer.write(number);
        }
    }
    return packed;
}

std::vector<SessionShareBucket> SessionShareBuckets::list() const {
    std::vector<SessionShareBucket> buckets;
    forEach([&](const SessionShareBucket& bucket) { buckets.push_back(bucket); });
    return buckets;
}

void SessionShareTokens::add(std::vector<SessionShareEvent> events, Date cutoff) {
    std::vector<SessionShareBucket> all = buckets.list();
    for (SessionShareEvent& event : events) {
        if (!(event.date <= cutoff)) {
            waiting.push_back(std::move(event));
            continue;
        }
        SessionShareBucket& bucket = bucketOf(event, models, all);
        bucket.add(event.tokens);
        const std::int64_t visible = event.tokens.visibleTotalTokens();
        isSpoilt = isSpoilt || visible < 0 || bucket.visibleTokens == INT64_MAX;
        if (visible > 0) keepEarlier(firstActiveAt, event.date);
        keepLater(lastActiveAt, event.date);
        lastEventAt = event.date;
    }
    buckets = SessionShareBuckets::of(all);
}

void SessionShareTokens::enter(Date cutoff) {
    const bool isAnyDue = std::ranges::any_of(
        waiting, [&](const SessionShareEvent& event) { return event.date <= cutoff; });
    if (isAnyDue) add(std::exchange(waiting, {}), cutoff);
}

std::optional<Date> SessionShare::lastActiveAt() const {
    std::optional<Date> last = own.lastActiveAt;
    for (const auto& [thread, tokens] : borrowed) keepLater(last, tokens.lastActiveAt);
    return last;
}

std::optional<Date> SessionShare::nextWaiting() const {
    std::optional<Date> next;
    const auto look = [&](const SessionShareTokens& tokens) {
        for (const SessionShareEvent& event : tokens.waiting) keepEarlier(next, event.date);
    };
    look(own);
    for (const auto& [thread, tokens] : borrowed) look(tokens);
    return next;
}

SessionShare makeSessionShare(const SessionShareContents& contents) {
    SessionShare share{.toolCalls = contents.toolCalls,
                       .skills = skillsOf(contents.skillLoads),
                       .isWithoutParent = contents.isWithoutParent};
    std::vector<SessionShareEvent> own;
    own.reserve(contents.own.size());
    for (const SessionUsageDelta& delta : contents.own) own.push_back(eventOf(delta));
    share.own.add(std::move(own), contents.cutoff);
    std::map<std::string, std::vector<SessionShareEvent>> borrowed;
    for (const SessionUsageDelta& delta : contents.borrowed) {
        borrowed[*delta.recordThread].push_back(eventOf(delta));
    }
    for (auto& [thread, events] : borrowed) {
        share.borrowed[thread].add(std::move(events), contents.cutoff);
    }
    return share;
}

}  // namespace vantry
