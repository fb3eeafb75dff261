#pragma once

#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/RecordFields.h"
#include "records/TokenBreakdown.h"

namespace vantry {

/// A hash of the texts in that order; never 0.
std::uint64_t sessionTextHash(std::initializer_list<std::string_view> texts);

/// Whether a turn is older than the thread in whose log it stands. Both ids begin with the time at
/// which they were given.
enum class SessionTurnOrigin : std::uint8_t { unknown, copied, own };

/// What one request used, as a log tells it: by a record of its own, or by the growth of the
/// counter.
struct SessionUsageDelta {
    Date date;
    TokenBreakdown tokens;
    std::optional<std::string> model;
    /// Stands for the record of the request, the same in every log that holds a copy; 0 for growth
    /// of the counter.
    std::uint64_t recordKey = 0;
    /// The thread that a copied record names; absent where it is the log's own.
    std::optional<std::string> recordThread;
    /// Part of the input; only records tell it.
    std::int64_t cacheWriteInputTokens = 0;
    SessionTurnOrigin turnOrigin = SessionTurnOrigin::unknown;

    bool isRecord() const { return recordKey != 0; }

    /// Whether both tell of one request. The reading of a request is written a moment behind its
    /// record.
    bool isSameEvent(const SessionUsageDelta& other) const {
        constexpr double moment = 10;  // seconds
        if (isRecord() && other.isRecord()) return recordKey == other.recordKey;
        const double apart = date - other.date;
        return tokens == other.tokens &&
               (isRecord() == other.isRecord() ? apart == 0 : apart >= -moment && apart <= moment);
    }

    friend bool operator==(const SessionUsageDelta&, const SessionUsageDelta&) = default;
};

/// A tool call of a log. The same call copied into another log has the same three texts.
struct SessionToolCallIdentity {
    std::string callID;
    std::string name;
    std::string kind;

    friend auto operator<=>(const SessionToolCallIdentity&,
                            const SessionToolCallIdentity&) = default;
};

template <>
struct RecordFields<SessionToolCallIdentity> {
    static constexpr std::tuple list{field("callID", &SessionToolCallIdentity::callID),
                                     field("name", &SessionToolCallIdentity::name),
                                     field("kind", &SessionToolCallIdentity::kind)};
};

/// Stands for the tool calls of a log, eight bytes each: enough to find a call again in the log of
/// a child that copied it. Ten thousand logs hold a million calls.
struct SessionToolCallProofs {
    std::map<std::string, std::string> byName;  ///< the proofs of the calls of each tool, in a row

    void add(const SessionToolCallIdentity& identity);

    static std::uint64_t proof(const SessionToolCallIdentity& identity);

    /// Hands over each call's name and proof.
    template <class Visit>
    void forEach(Visit visit) const {
        for (const auto& [name, proofs] : byName) {
            for (std::size_t i = 0; i + sizeof(std::uint64_t) <= proofs.size();
                 i += sizeof(std::uint64_t)) {
                std::uint64_t value = 0;
                std::memcpy(&value, proofs.data() + i, sizeof value);
                visit(name, value);
            }
        }
    }

    friend bool operator==(const SessionToolCallProofs&, const SessionToolCallProofs&) = default;
};

/// A Skill's file was read.
struct SkillLoadEvent {
    std::string path;
    std::optional<Date> date;
    std::optional<SessionToolCallIdentity> toolCallIdentity;

    friend bool operator==(const SkillLoadEvent&, const SkillLoadEvent&) = default;
};

template <>
struct RecordFields<SkillLoadEvent> {
    static constexpr std::tuple list{field("path", &SkillLoadEvent::path),
                                     field("date", &SkillLoadEvent::date),
                                     field("toolCallIdentity", &SkillLoadEvent::toolCallIdentity)};
};

/// Where a log's counter goes on from, when it does not start at zero: another log, as it stood
/// before one of its lines.
struct SessionHistoryBase {
    std::string threadId;                  ///< the name of that log as a segment of its thread
    std::int64_t endOrdinalExclusive = 0;  ///< lines of that log from this number on do not count

    friend bool operator==(const SessionHistoryBase&, const SessionHistoryBase&) = default;
};

template <>
struct RecordFields<SessionHistoryBase> {
    static constexpr std::tuple list{
        field("threadId", &SessionHistoryBase::threadId),
        field("endOrdinalExclusive", &SessionHistoryBase::endOrdinalExclusive)};
};

/// What a log's header says of its thread and of where that comes from.
struct SessionUsageLineage {
    std::string threadId;
    std::optional<std::string> parentThreadId;
    std::optional<Date> spawnedAt;
    std::optional<SessionHistoryBase> historyBase;  ///< the log copies nothing and goes on counting
    /// Lines before this number were copied into the log of a subagent.
    std::optional<std::int64_t> ownFromOrdinal;
    std::optional<std::string> cwd;
    std::optional<bool> isSubagent;
    std::optional<bool> allowsMissingParent;  ///< a guardian's log names no parent

    friend bool operator==(const SessionUsageLineage&, const SessionUsageLineage&) = default;
};

template <>
struct RecordFields<SessionUsageLineage> {
    static constexpr std::tuple list{
        field("threadId", &SessionUsageLineage::threadId),
        field("parentThreadId", &SessionUsageLineage::parentThreadId),
        field("spawnedAt", &SessionUsageLineage::spawnedAt),
        field("historyBase", &SessionUsageLineage::historyBase),
        field("ownFromOrdinal", &SessionUsageLineage::ownFromOrdinal),
        field("cwd", &SessionUsageLineage::cwd),
        field("isSubagent", &SessionUsageLineage::isSubagent),
        field("allowsMissingParent", &SessionUsageLineage::allowsMissingParent)};
};

/// The first token event of a log: the counter as it then stood, and what that event itself says
/// it added. The difference is what the counter began with.
struct SessionFirstReading {
    TokenBreakdown total;
    std::optional<TokenBreakdown> last;
    /// The delta that counts it, for all that it shows; absent where records account for it.
    std::optional<std::int64_t> deltaIndex;

    friend bool operator==(const SessionFirstReading&, const SessionFirstReading&) = default;
};

template <>
struct RecordFields<SessionFirstReading> {
    static constexpr std::tuple list{field("total", &SessionFirstReading::total),
                                     field("last", &SessionFirstReading::last),
                                     field("deltaIndex", &SessionFirstReading::deltaIndex)};
};

/// The counter's readings of a log, as far as its deltas do not tell them: the line number of each
/// delta, and the reading wherever it is not the one before plus the delta.
struct SessionReadingTrail {
    /// A reading that is not the one before plus a delta: that of a delta itself, where the line
    /// numbers are the same, or one behind a delta that added nothing.
    struct Correction {
        std::int64_t deltaIndex = 0;
        TokenBreakdown total;
        std::int64_t ordinal = 0;  ///< the number of its line

        friend bool operator==(const Correction&, const Correction&) = default;
    };

    std::vector<std::int64_t> ordinals;   ///< one a delta, never falling
    std::vector<Correction> corrections;  ///< by rising index

    friend bool operator==(const SessionReadingTrail&, const SessionReadingTrail&) = default;
};

/// A record whose reading has not come yet.
struct SessionPendingRecord {
    TokenBreakdown tokens;
    bool isOverdue = false;        ///< its reading should have come before now
    bool isBehindReading = false;  ///< a reading that showed nothing new came in between

    friend bool operator==(const SessionPendingRecord&, const SessionPendingRecord&) = default;
};

template <>
struct RecordFields<SessionPendingRecord> {
    static constexpr std::tuple list{
        field("tokens", &SessionPendingRecord::tokens),
        field("isOverdue", &SessionPendingRecord::isOverdue),
        field("isBehindReading", &SessionPendingRecord::isBehindReading)};
};

/// How sound the lines of a log were.
struct SessionLineCounts {
    std::int64_t relevant = 0;     ///< finished lines that were looked into
    std::int64_t unreadable = 0;   ///< of these, lines that are no JSON
    std::int64_t disagreeing = 0;  ///< readings that grew by something else than their record

    /// Whether so much is unreadable that the file is no log.
    bool isNoLog() const { return unreadable >= 10 && unreadable > relevant / 100; }

    friend bool operator==(const SessionLineCounts&, const SessionLineCounts&) = default;
};

template <>
struct RecordFields<SessionLineCounts> {
    static constexpr std::tuple list{field("relevant", &SessionLineCounts::relevant),
                                     field("unreadable", &SessionLineCounts::unreadable),
                                     field("disagreeing", &SessionLineCounts::disagreeing)};
};

/// All that was read from one log, up to its last finished line.
struct ParsedSessionUsage {
    std::string threadId;  ///< the log's own, by which copied records are told
    bool hasTokenEvents = false;
    std::int64_t tokenEventCount = 0;  ///< repeated readings included
    std::vector<SessionUsageDelta> deltas;
    std::map<std::string, std::int64_t> toolCalls;
    SessionToolCallProofs toolCallProofs;
    std::vector<SkillLoadEvent> skillLoads;
    TokenBreakdown lastTokenUsage;  ///< the counter after the last event
    std::optional<std::string> lastModel;
    std::optional<SessionFirstReading> firstReading;
    SessionReadingTrail trail;
    SessionTurnOrigin turnOrigin = SessionTurnOrigin::unknown;  ///< of the last turn
    std::vector<SessionPendingRecord> pendingRecords;
    SessionLineCounts lines;
};

}  // namespace vantry
