#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "local/SessionFileIdentity.h"
#include "local/SessionLogStream.h"
#include "local/SessionUsageCacheEntry.h"

namespace vantry {

template <>
struct EnumTexts<CodexUsageReader::SessionLogTrouble> {
    using Trouble = CodexUsageReader::SessionLogTrouble;
    static constexpr std::array<std::pair<Trouble, std::string_view>, 10> table{
        {{Trouble::none, "none"},
         {Trouble::absent, "absent"},
         {Trouble::notRegular, "notRegular"},
         {Trouble::outside, "outside"},
         {Trouble::unreadable, "unreadable"},
         {Trouble::damaged, "damaged"},
         {Trouble::tooLarge, "tooLarge"},
         {Trouble::changed, "changed"},
         {Trouble::timeRanOut, "timeRanOut"},
         {Trouble::outOfResources, "outOfResources"}}};
};

/// What a log contributed that is no longer there, or no longer says so: the only record of it.
struct KeptSession {
    std::string path;  ///< where it last lay
    SessionUsageCacheEntry entry;
    bool isSaved = false;  ///< it stands in the file

    friend bool operator==(const KeptSession&, const KeptSession&) = default;
};

template <>
struct RecordFields<KeptSession> {
    static constexpr std::tuple list{field("path", &KeptSession::path),
                                     field("entry", &KeptSession::entry)};
};

/// A log that could not be read, as it was then.
struct KnownSessionTrouble {
    CodexUsageReader::SessionLogTrouble trouble = CodexUsageReader::SessionLogTrouble::none;
    std::optional<SessionFileSnapshot> file;
    Date firstSeenAt;

    friend bool operator==(const KnownSessionTrouble&, const KnownSessionTrouble&) = default;
};

template <>
struct RecordFields<KnownSessionTrouble> {
    using Known = KnownSessionTrouble;
    static constexpr std::tuple list{field("trouble", &Known::trouble), field("file", &Known::file),
                                     field("firstSeenAt", &Known::firstSeenAt)};
};

/// What cannot be made again by reading the logs.
struct KeptSessions {
    std::map<std::string, std::vector<KeptSession>> gone;  ///< by goneKey()
    std::map<std::string, KnownSessionTrouble> troubles;   ///< by path
    /// By the path of a Codex home, what tells that folder from every other after it was renamed.
    std::map<std::string, std::string> homes;

    /// Of a segment in a home.
    static std::string goneKey(const std::string& home, const std::string& segmentId) {
        return home + "\n" + segmentId;
    }

    std::size_t goneCount() const;

    friend bool operator==(const KeptSessions&, const KeptSessions&) = default;
};

template <>
struct RecordFields<KeptSessions> {
    static constexpr std::tuple list{field("gone", &KeptSessions::gone),
                                     field("troubles", &KeptSessions::troubles),
                                     field("homes", &KeptSessions::homes)};
};

namespace CodexUsageReader {

/// The file below a directory of caches; an empty path, for no persistence, below none.
std::filesystem::path keptSessionsURL(const std::filesystem::path& cacheDirectory);

struct KeptSessionsReading {
    KeptSessions kept;
    /// False for a file of a later version, which must stay as it is.
    bool mayWrite = true;
};

/// What the file holds, whatever its size. A damaged file is put aside under another name, so that
/// nothing of it is lost; of a sound one, logs with damaged bytes are left out. Blocks.
KeptSessionsReading readKeptSessions(const std::filesystem::path& file);

/// Replaces the file, whole or not at all. False, with a line in the debug log, where it cannot be
/// written. Blocks.
bool writeKeptSessions(const KeptSessions& kept, const std::filesystem::path& file);

/// Forgets the logs that are gone, of all homes. How many there were; nothing where the file cannot
/// be written.
std::optional<std::size_t> forgetGoneSessions(const std::filesystem::path& cacheDirectory);

}  // namespace CodexUsageReader

}  // namespace vantry
