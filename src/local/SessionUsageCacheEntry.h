#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "local/SessionUsage.h"
#include "platform/RecordFields.h"

namespace vantry {

/// The deltas of a log in 56 bytes each, compressed where that makes them fewer.
struct SessionUsageDeltaStorage {
    std::int64_t count = 0;
    bool isCompressed = false;
    std::string payload;              ///< bytes; base64 in JSON
    std::vector<std::string> models;  ///< sorted, each once

    static SessionUsageDeltaStorage encoding(const std::vector<SessionUsageDelta>& deltas);

    /// The deltas, or what is wrong with the bytes.
    struct Decoding {
        std::optional<std::vector<SessionUsageDelta>> deltas;
        std::string error;  ///< empty without one
    };
    Decoding decoded() const;

    /// What is wrong with the bytes, found without making the deltas; empty when nothing is.
    std::string damage() const;

    friend bool operator==(const SessionUsageDeltaStorage&,
                           const SessionUsageDeltaStorage&) = default;
};

/// The trail of a log's readings in few bytes.
struct SessionReadingTrailStorage {
    std::string ordinals;  ///< gaps between line numbers, compressed; base64 in JSON
    bool isCompressed = false;
    std::vector<SessionReadingTrail::Correction> corrections;

    static SessionReadingTrailStorage encoding(const SessionReadingTrail& trail);

    /// The trail of `count` deltas; nothing for bytes that do not hold exactly that many.
    std::optional<SessionReadingTrail> decoded(std::int64_t count) const;

    friend bool operator==(const SessionReadingTrailStorage&,
                           const SessionReadingTrailStorage&) = default;
};

/// What one log contributes, as it was at one moment.
struct SessionUsageCacheEntry {
    std::int64_t fileSize = 0;
    std::optional<Date> modificationDate;
    bool hasTokenEvents = false;
    std::int64_t tokenEventCount = 0;
    SessionUsageDeltaStorage deltaStorage;
    std::map<std::string, std::int64_t> toolCalls;
    std::vector<SessionToolCallIdentity> toolCallIdentities;
    std::vector<SkillLoadEvent> skillLoads;
    std::optional<std::int64_t> parsedByteOffset;  ///< up to here every line has been parsed
    std::optional<TokenBreakdown> lastTokenUsage;
    std::optional<std::string> lastModel;
    std::optional<std::uint64_t> fileIdentifier;  ///< the file's number (inode)
    std::optional<Date> lastAccessedAt;
    std::optional<SessionUsageLineage> lineage;
    std::optional<SessionFirstReading> firstReading;
    SessionReadingTrailStorage readingTrail;

    std::int64_t deltaCount() const { return deltaStorage.count; }

    /// A copy that was used at `date`; the identifier is filled in when one is given.
    SessionUsageCacheEntry touching(std::optional<std::uint64_t> identifier, Date date) const;

    friend bool operator==(const SessionUsageCacheEntry&, const SessionUsageCacheEntry&) = default;
};

}  // namespace vantry
