#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "local/log/SessionUsage.h"
#include "platform/Base64.h"
#include "platform/RecordFields.h"

namespace vantry {

/// The deltas of a log in 56 bytes each, compressed where that makes them fewer.
struct SessionUsageDeltaStorage {
    std::int64_t count = 0;
    bool isCompressed = false;
    std::string payload;               ///< bytes; base64 in JSON
    std::vector<std::string> models;   ///< sorted, each once
    std::vector<std::string> threads;  ///< those that copied records name
    /// Eight bytes a delta each, or none where all are 0; base64 in JSON.
    std::string recordKeys;
    std::string cacheWrites;

    static SessionUsageDeltaStorage encoding(const std::vector<SessionUsageDelta>& deltas);

    /// The deltas, or what is wrong with the bytes.
    struct Decoding {
        std::optional<std::vector<SessionUsageDelta>> deltas;
        std::string error;  ///< empty without one
    };
    Decoding decoded() const;

    /// Whether a record was copied from another thread's log.
    bool holdsCopiedRecords() const { return !threads.empty(); }

    /// What is wrong with the bytes, found without making the deltas; empty when nothing is.
    std::string damage() const;

    /// The most deltas that are taken from a file, so that its few bytes cannot ask for much
    /// memory.
    static constexpr std::int64_t maxStoredCount = 16'000'000;

    /// What is wrong with a value that comes from a file: its limits, its model names, its bytes.
    std::string storedDamage() const;

    friend bool operator==(const SessionUsageDeltaStorage&,
                           const SessionUsageDeltaStorage&) = default;
};

/// The trail of a log's readings in few bytes.
struct SessionReadingTrailStorage {
    std::string ordinals;        ///< gaps between line numbers, compressed; base64 in JSON
    std::int64_t byteCount = 0;  ///< of the gaps before compression
    bool isCompressed = false;
    std::vector<SessionReadingTrail::Correction> corrections;

    static SessionReadingTrailStorage encoding(const SessionReadingTrail& trail);

    /// The trail of `count` deltas; nothing for bytes that do not hold exactly that many.
    std::optional<SessionReadingTrail> decoded(std::int64_t count) const;

    /// Whether decoded() has an answer, found without making the trail.
    bool isTrail(std::int64_t count) const;

    friend bool operator==(const SessionReadingTrailStorage&,
                           const SessionReadingTrailStorage&) = default;
};

/// What one log contributes, as it was at one moment.
struct SessionUsageCacheEntry {
    /// The Codex home that it was counted in.
    std::string home;
    std::int64_t fileSize = 0;
    /// Since 1970. A Date of today has steps of a quarter of a microsecond; files are told apart by
    /// this one, so that no change between two steps goes unseen.
    std::optional<std::int64_t> modificationTimeNanoseconds;
    bool hasTokenEvents = false;
    std::int64_t tokenEventCount = 0;
    SessionUsageDeltaStorage deltaStorage;
    std::map<std::string, std::int64_t> toolCalls;
    SessionToolCallProofs toolCallProofs;
    std::vector<SkillLoadEvent> skillLoads;
    std::optional<std::int64_t> parsedByteOffset;  ///< up to here every line has been parsed
    std::optional<TokenBreakdown> lastTokenUsage;
    std::optional<std::string> lastModel;
    std::optional<std::uint64_t> fileIdentifier;  ///< the file's number (inode)
    std::optional<SessionUsageLineage> lineage;
    std::optional<SessionFirstReading> firstReading;
    SessionReadingTrailStorage readingTrail;
    /// Stands for the bytes at the head of the log and before `parsedByteOffset`: a log that was
    /// written anew under the same file number has others.
    std::optional<std::string> prefixProof;
    std::int64_t logSize = 0;  ///< bytes of the log that were read, unpacked
    std::vector<SessionPendingRecord> pendingRecords;
    SessionLineCounts lines;
    /// When anything about the file changed, since 1970 in nanoseconds, and its permissions.
    std::int64_t changeTimeNanoseconds = 0;
    std::int64_t mode = 0;
    std::int64_t lastTurnOrigin = 0;  ///< the number of a SessionTurnOrigin
    /// The figures have held what the log says.
    bool isCounted = false;
    /// False for an entry of an earlier format: its log is read again where it is still there.
    bool isCurrent = false;

    std::int64_t deltaCount() const { return deltaStorage.count; }

    /// What is wrong with the bytes and values of an entry from a file; empty when nothing is.
    std::string damage() const;

    friend bool operator==(const SessionUsageCacheEntry&, const SessionUsageCacheEntry&) = default;
};

/// An entry from a file, or what is wrong with it.
struct SessionUsageCacheEntryReading {
    std::optional<SessionUsageCacheEntry> entry;
    std::string error;  ///< empty without one
};

/// The entry of a stored form with all its bytes checked. Any thread.
SessionUsageCacheEntryReading readSessionUsageCacheEntry(JsonView value);

// The JSON form is that of earlier versions, and is only read.

/// A member of bytes; base64 in JSON.
template <class Record>
struct BytesField {
    std::string_view name;
    std::string Record::*member;
    bool mayBeMissing = false;
};

template <class Record>
bool decodeField(const BytesField<Record>& entry, JsonView value, Record& into) {
    if (entry.mayBeMissing && value[entry.name].isMissing()) return true;
    const auto text = value[entry.name].text();
    auto bytes = text ? base64Bytes(*text) : std::nullopt;
    if (!bytes) return false;
    into.*entry.member = std::move(*bytes);
    return true;
}

template <>
struct RecordFields<SessionToolCallProofs> {
    static constexpr std::tuple list{field("byName", &SessionToolCallProofs::byName)};
};

/// Proofs of tool calls by the tool's name; base64 in JSON.
template <class Record>
struct ToolCallProofsField {
    std::string_view name;
    SessionToolCallProofs Record::*member;
};

template <class Record>
bool decodeField(const ToolCallProofsField<Record>& entry, JsonView value, Record& into) {
    auto& proofs = (into.*entry.member).byName;
    const JsonView members = value[entry.name];
    bool isGood = members.isObject();
    members.forEachMember([&](std::string_view name, JsonView member) {
        const auto text = member.text();
        auto bytes = text ? base64Bytes(*text) : std::nullopt;
        isGood = bytes && bytes->size() % sizeof(std::uint64_t) == 0;
        if (isGood) proofs.insert_or_assign(std::string(name), *std::move(bytes));
        return isGood;
    });
    return isGood;
}

/// A member that earlier formats do not have: missing, it keeps its default.
template <class Record, class Member>
struct LaterField {
    std::string_view name;
    Member Record::*member;
};

template <class Record, class Member>
LaterField(const char*, Member Record::*) -> LaterField<Record, Member>;

template <class Record, class Member>
bool decodeField(const LaterField<Record, Member>& entry, JsonView value, Record& into) {
    const JsonView member = value[entry.name];
    return member.isMissing() || decode(member, into.*entry.member);
}

/// A file's number. JSON has the signed number of the same 64 bits, since our integers there are
/// signed, and some file systems do use the highest bit.
template <class Record>
struct FileNumberField {
    std::string_view name;
    std::optional<std::uint64_t> Record::*member;
};

template <class Record>
bool decodeField(const FileNumberField<Record>& entry, JsonView value, Record& into) {
    std::optional<std::int64_t> number;
    if (!decode(value[entry.name], number)) return false;
    into.*entry.member = number;
    return true;
}

template <>
struct RecordFields<SessionUsageDeltaStorage> {
    using Storage = SessionUsageDeltaStorage;
    static constexpr std::tuple list{
        field("count", &Storage::count),
        field("isCompressed", &Storage::isCompressed),
        BytesField<Storage>{"payload", &Storage::payload},
        field("models", &Storage::models),
        LaterField{"threads", &Storage::threads},
        BytesField<Storage>{"recordKeys", &Storage::recordKeys, true},
        BytesField<Storage>{"cacheWrites", &Storage::cacheWrites, true}};
};

template <>
struct RecordFields<SessionReadingTrail::Correction> {
    using Correction = SessionReadingTrail::Correction;
    static constexpr std::tuple list{field("deltaIndex", &Correction::deltaIndex),
                                     field("total", &Correction::total),
                                     field("ordinal", &Correction::ordinal)};
};

template <>
struct RecordFields<SessionReadingTrailStorage> {
    using Storage = SessionReadingTrailStorage;
    static constexpr std::tuple list{BytesField<Storage>{"ordinals", &Storage::ordinals},
                                     field("byteCount", &Storage::byteCount),
                                     field("isCompressed", &Storage::isCompressed),
                                     field("corrections", &Storage::corrections)};
};

template <>
struct RecordFields<SessionUsageCacheEntry> {
    using Entry = SessionUsageCacheEntry;
    static constexpr std::tuple list{
        field("fileSize", &Entry::fileSize),
        field("modificationTimeNanoseconds", &Entry::modificationTimeNanoseconds),
        field("hasTokenEvents", &Entry::hasTokenEvents),
        field("tokenEventCount", &Entry::tokenEventCount),
        field("deltaStorage", &Entry::deltaStorage),
        field("toolCalls", &Entry::toolCalls),
        ToolCallProofsField<Entry>{"toolCallProofs", &Entry::toolCallProofs},
        field("skillLoads", &Entry::skillLoads),
        field("parsedByteOffset", &Entry::parsedByteOffset),
        field("lastTokenUsage", &Entry::lastTokenUsage),
        field("lastModel", &Entry::lastModel),
        FileNumberField<Entry>{"fileIdentifier", &Entry::fileIdentifier},
        field("lineage", &Entry::lineage),
        field("firstReading", &Entry::firstReading),
        field("readingTrail", &Entry::readingTrail),
        field("prefixProof", &Entry::prefixProof),
        LaterField{"home", &Entry::home},
        LaterField{"logSize", &Entry::logSize},
        LaterField{"pendingRecords", &Entry::pendingRecords},
        LaterField{"lines", &Entry::lines},
        LaterField{"changeTimeNanoseconds", &Entry::changeTimeNanoseconds},
        LaterField{"mode", &Entry::mode},
        LaterField{"lastTurnOrigin", &Entry::lastTurnOrigin},
        LaterField{"isCounted", &Entry::isCounted},
        LaterField{"isCurrent", &Entry::isCurrent}};
};

}  // namespace vantry
