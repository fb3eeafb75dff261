#pragma once

#include <cstdint>
#include <ctime>
#include <filesystem>
#include <optional>
#include <string>

#include "local/log/SessionUsageCacheEntry.h"
#include "platform/FileDescriptor.h"
#include "platform/RecordFields.h"

namespace vantry {

/// Since 1970; a time that 64 bits do not reach wraps, and still differs from its neighbours.
std::int64_t nanosecondsOf(const timespec& time);

/// A log as it stood at one moment, by which a later moment is compared.
struct SessionFileSnapshot {
    std::int64_t fileSize = 0;  ///< bytes
    /// Since 1970; a time that 64 bits do not reach wraps, and still differs from its neighbours.
    std::optional<std::int64_t> modificationTimeNanoseconds;
    std::optional<std::uint64_t> fileIdentifier;  ///< the file's number (inode)
    /// When anything about the file changed, and its permissions: they tell whether a log that gave
    /// trouble is worth another look.
    std::int64_t changeTimeNanoseconds = 0;
    std::int64_t mode = 0;

    /// What stands at the path itself: nothing for a symbolic link or anything but a regular file,
    /// with errno 0 then, or what the system said.
    static std::optional<SessionFileSnapshot> of(const std::string& path);

    std::optional<Date> modificationDate() const;

    /// Writes the snapshot into an entry made from this file.
    void describe(SessionUsageCacheEntry& entry) const;

    friend bool operator==(const SessionFileSnapshot&, const SessionFileSnapshot&) = default;
};

template <>
struct RecordFields<SessionFileSnapshot> {
    using Snapshot = SessionFileSnapshot;
    static constexpr std::tuple list{
        field("fileSize", &Snapshot::fileSize),
        field("modificationTimeNanoseconds", &Snapshot::modificationTimeNanoseconds),
        FileNumberField<Snapshot>{"fileIdentifier", &Snapshot::fileIdentifier},
        field("changeTimeNanoseconds", &Snapshot::changeTimeNanoseconds),
        field("mode", &Snapshot::mode)};
};

/// Whether a log is still the one that was read. Functions look at the file system once, block no
/// longer than that, and answer for that moment only.
namespace CodexUsageReader {

/// Whether a file that was read in one state is in that very state. Times are compared in whole
/// nanoseconds; a state without a file number takes any.
bool sameSessionFileIdentity(const SessionFileSnapshot& known, const SessionFileSnapshot& now);

/// Whether the file at the path is the same and may have grown since.
bool sessionFileContainsSnapshotPrefix(const std::filesystem::path& path,
                                       const SessionFileSnapshot& snapshot);

/// A hash of the first bytes of an open log and of the last ones before the offset; nothing if they
/// cannot be read.
std::optional<std::string> sessionPrefixProof(const FileDescriptor& file, std::int64_t offset);

}  // namespace CodexUsageReader

}  // namespace vantry
