#pragma once

#include <cstdint>
#include <cstring>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/RecordFields.h"
#include "records/TokenBreakdown.h"

namespace vantry {

/// What one token event added.
struct SessionUsageDelta {
    Date date;
    TokenBreakdown tokens;
    std::optional<std::string> model;

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

/// Where a log's counter goes on from, when it does not start at zero: the log of another thread,
/// as it stood before one of its lines.
struct SessionHistoryBase {
    std::string threadId;
    std::int64_t endOrdinalExclusive =
        0;  ///< lines of that thread from this number on do not count

    friend bool operator==(const SessionHistoryBase&, const SessionHistoryBase&) = default;
};

template <>
struct RecordFields<SessionHistoryBase> {
    static constexpr std::tuple list{
        field("threadId", &SessionHistoryBase::threadId),
        field("endOrdinalExclusive", &SessionHistoryBase::endOrdinalExclusive)};
};

/// What a log's header says of where the thread comes from.
struct SessionUsageLineage {
    std::string threadId;
    std::optional<std::string> parentThreadId;
    std::optional<Date> spawnedAt;
    std::optional<SessionHistoryBase> historyBase;  ///< the log copies nothing and goes on counting

    friend bool operator==(const SessionUsageLineage&, const SessionUsageLineage&) = default;
};

template <>
struct RecordFields<SessionUsageLineage> {
    static constexpr std::tuple list{field("threadId", &SessionUsageLineage::threadId),
                                     field("parentThreadId", &SessionUsageLineage::parentThreadId),
                                     field("spawnedAt", &SessionUsageLineage::spawnedAt),
                                     field("historyBase", &SessionUsageLineage::historyBase)};
};

/// The first token event of a log: the counter as it then stood, and what that event itself says
/// it added. The difference is what the counter began with.
struct SessionFirstReading {
    TokenBreakdown total;
    std::optional<TokenBreakdown> last;

    friend bool operator==(const SessionFirstReading&, const SessionFirstReading&) = default;
};

template <>
struct RecordFields<SessionFirstReading> {
    static constexpr std::tuple list{field("total", &SessionFirstReading::total),
                                     field("last", &SessionFirstReading::last)};
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

/// All that was read from one log, up to its last finished line.
struct ParsedSessionUsage {
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
};

}  // namespace vantry
