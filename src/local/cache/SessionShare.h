#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "local/log/SessionUsage.h"
#include "platform/RecordBytes.h"

namespace vantry {

/// The tokens of one quarter of an hour and one model. Every zone's days begin with a quarter.
struct SessionShareBucket {
    static constexpr double seconds = 900;

    std::int64_t quarter = 0;  ///< its number since 1970
    std::int64_t model = 0;    ///< 0 for none, else 1 + the position in `models`
    TokenBreakdown tokens;     ///< summed part by part
    // Each event's own, summed: they are not what the sums of the parts would give.
    std::int64_t visibleTokens = 0;
    std::int64_t uncachedInputTokens = 0;
    std::int64_t billableCachedInputTokens = 0;

    Date start() const { return Date(static_cast<double>(quarter) * seconds); }
    void add(const TokenBreakdown& event);
    void add(const SessionShareBucket& other);

    /// Has all that the input, the cached input and the output mostly tell be what they tell.
    void makePlain();

    friend bool operator==(const SessionShareBucket&, const SessionShareBucket&) = default;
};

/// Buckets by quarter and model, in few bytes: a home has hundreds of thousands.
class SessionShareBuckets {
  public:
    static SessionShareBuckets of(const std::vector<SessionShareBucket>& buckets);

    /// Those of bytes that came from elsewhere, as far as they are sound.
    std::vector<SessionShareBucket> list() const;

    /// Hands over each; false for bytes that are no buckets, after those before the first bad one.
    template <class Visit>
    bool forEach(Visit visit) const;

    bool empty() const { return bytes_.empty(); }

    friend bool operator==(const SessionShareBuckets&, const SessionShareBuckets&) = default;

  private:
    friend struct RecordFields<SessionShareBuckets>;

    std::string bytes_;
};

template <>
struct RecordFields<SessionShareBuckets> {
    static constexpr std::tuple list{field("bytes", &SessionShareBuckets::bytes_)};
};

template <class Visit>
bool SessionShareBuckets::forEach(Visit visit) const {
    RecordBytesReader reader(bytes_);
    SessionShareBucket bucket;
    while (reader.isGood() && !reader.isDone()) {
        std::int64_t step = 0;
        std::int64_t modelAndKind = 0;
        reader.read(step);
        reader.read(modelAndKind);
        bucket.quarter = saturatingAdd(bucket.quarter, step);
        bucket.model = modelAndKind >> 1;
        TokenBreakdown& tokens = bucket.tokens;
        reader.read(tokens.inputTokens);
        reader.read(tokens.cachedInputTokens);
        reader.read(tokens.outputTokens);
        reader.read(tokens.reasoningOutputTokens);
        const bool isPlain = (modelAndKind & 1) == 0;
        if (isPlain) {
            bucket.makePlain();
        } else {
            reader.read(tokens.totalTokens);
            reader.read(bucket.visibleTokens);
            reader.read(bucket.uncachedInputTokens);
            reader.read(bucket.billableCachedInputTokens);
        }
        if (reader.isGood()) visit(std::as_const(bucket));
    }
    return reader.isDone();
}

/// An event that was ahead of its time when the share was made.
struct SessionShareEvent {
    Date date;
    TokenBreakdown tokens;
    std::optional<std::string> model;

    friend bool operator==(const SessionShareEvent&, const SessionShareEvent&) = default;
};

template <>
struct RecordFields<SessionShareEvent> {
    static constexpr std::tuple list{field("date", &SessionShareEvent::date),
                                     field("tokens", &SessionShareEvent::tokens),
                                     field("model", &SessionShareEvent::model)};
};

/// Tokens that count for one thread.
struct SessionShareTokens {
    std::vector<std::string> models;  ///< those that events name
    SessionShareBuckets buckets;
    std::vector<SessionShareEvent> waiting;
    std::optional<Date> firstActiveAt;  ///< of the events with tokens
    std::optional<Date> lastActiveAt;   ///< of all that are in buckets
    std::optional<Date> lastEventAt;    ///< of the one that stands last in the log
    bool isSpoilt = false;              ///< a number was negative or left 64 bits

    /// Puts events into buckets that are not ahead, and lets the others wait.
    void add(std::vector<SessionShareEvent> events, Date cutoff);

    /// Puts those that wait no longer into their buckets.
    void enter(Date cutoff);

    friend bool operator==(const SessionShareTokens&, const SessionShareTokens&) = default;
};

template <>
struct RecordFields<SessionShareTokens> {
    using Tokens = SessionShareTokens;
    static constexpr std::tuple list{field("models", &Tokens::models),
                                     field("buckets", &Tokens::buckets),
                                     field("waiting", &Tokens::waiting),
                                     field("firstActiveAt", &Tokens::firstActiveAt),
                                     field("lastActiveAt", &Tokens::lastActiveAt),
                                     field("lastEventAt", &Tokens::lastEventAt),
                                     field("isSpoilt", &Tokens::isSpoilt)};
};

/// The loads of one Skill's file in a log.
struct SessionShareSkill {
    std::string path;
    std::int64_t loadCount = 0;
    std::optional<Date> lastLoadedAt;

    friend bool operator==(const SessionShareSkill&, const SessionShareSkill&) = default;
};

template <>
struct RecordFields<SessionShareSkill> {
    static constexpr std::tuple list{field("path", &SessionShareSkill::path),
                                     field("loadCount", &SessionShareSkill::loadCount),
                                     field("lastLoadedAt", &SessionShareSkill::lastLoadedAt)};
};

/// What one log adds to the figures, whatever day and zone they are asked for: what it itself
/// tells, without what it copied or inherited. What the thread index says of its thread is not in
/// it.
struct SessionShare {
    SessionShareTokens own;
    /// By thread, requests of another one whose own log does not tell of them.
    std::map<std::string, SessionShareTokens> borrowed;
    std::map<std::string, std::int64_t> toolCalls;
    std::vector<SessionShareSkill> skills;
    /// A parent could not be checked: what may be a copy of its history was left out.
    bool isWithoutParent = false;

    /// The latest event that counts, and the earliest of those that wait.
    std::optional<Date> lastActiveAt() const;
    std::optional<Date> nextWaiting() const;

    friend bool operator==(const SessionShare&, const SessionShare&) = default;
};

template <>
struct RecordFields<SessionShare> {
    using Share = SessionShare;
    static constexpr std::tuple list{field("own", &Share::own), field("borrowed", &Share::borrowed),
                                     field("toolCalls", &Share::toolCalls),
                                     field("skills", &Share::skills),
                                     field("isWithoutParent", &Share::isWithoutParent)};
};

/// What a share is made from.
struct SessionShareContents {
    std::span<const SessionUsageDelta> own;
    std::span<const SessionUsageDelta> borrowed;  ///< each names its thread
    const std::map<std::string, std::int64_t>& toolCalls;
    const std::vector<SkillLoadEvent>& skillLoads;
    bool isWithoutParent = false;
    Date cutoff;  ///< later events wait
};

SessionShare makeSessionShare(const SessionShareContents& contents);

}  // namespace vantry
