#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "statistics/RuntimeLoadContext.h"

namespace vantry {

/// What the file system says of one path. A path where nothing lies has no type, size, time and
/// number: a file that was deleted is a change and not a failure.
struct MetadataItem {
    std::string path;
    bool exists = false;
    std::string_view type = "missing";  ///< a constant of the program
    std::uint64_t size = 0;             ///< bytes
    /// Since 1970; a time that 64 bits do not reach wraps, and still differs from its neighbours.
    std::uint64_t modificationNanoseconds = 0;
    std::uint64_t fileNumber = 0;         ///< inode
    std::uint64_t changeNanoseconds = 0;  ///< when anything about it changed; only of logs

    friend bool operator==(const MetadataItem&, const MetadataItem&) = default;
};

/// Readings of metadata; no file is opened. Any thread. They are empty if a path exists, or may
/// exist, and cannot be examined.
namespace RefreshSourceMetadata {

/// The paths themselves, links unfollowed, by path.
std::optional<std::vector<MetadataItem>> ofFiles(std::span<const std::string> paths);

/// The path and, if it is a directory, what lies below it, by path. Links are not followed and a
/// folder that cannot be listed is passed over. Not deeper than 8 levels; empty too for more than
/// 4,096 entries, since half of them would hide a change in the other half.
std::optional<std::vector<MetadataItem>> ofTree(const std::filesystem::path& root);

/// The state databases in these folders with the files that SQLite keeps beside them, by path.
/// Where a link leads to a database, they are the files beside its target, as they are for SQLite.
///
/// The time of a `-shm` file is left at 0: without a writer every run of `sqlite3`, a reading one
/// too, writes that file anew, so that each read would look like the reason for the next. It only
/// indexes the `-wal` file, whose own time moves with each commit.
std::optional<std::vector<MetadataItem>> ofStateFiles(const CodexFolders& folders);

/// FNV-1a of the values and then of each item's fields, in order, each with an end mark.
std::uint64_t digest(std::span<const std::string> semanticValues,
                     std::span<const MetadataItem> items);

}  // namespace RefreshSourceMetadata

struct RefreshFingerprintRequest {
    const RuntimeLoadContext& context;
    const std::vector<std::string>& indexedSessionFiles;  ///< logs, by path
};

/// What Codex's files look like from outside, and what else the figures depend on, in a number. As
/// long as it stays, a read would find what the last one found.
///
/// A capture only looks at metadata; any thread. An empty one says nothing about the sources: they
/// have to be read.
struct CodexRefreshSourceFingerprint {
    struct Value {
        std::uint64_t digest = 0;

        friend bool operator==(const Value&, const Value&) = default;
    };

    Value localUsage;
    Value taskBoard;

    /// Both values or none.
    static std::optional<CodexRefreshSourceFingerprint> capture(
        const RefreshFingerprintRequest& request);

    /// In the context's folders of Codex. Changes with the hour, too.
    static std::optional<Value> captureLocalUsage(const RefreshFingerprintRequest& request);

    /// Of the user's own Codex, even if the context names another home: the board is read from
    /// there. Changes with the day, too.
    static std::optional<Value> captureTaskBoard(const RuntimeLoadContext& context);

    /// The same from these folders.
    static std::optional<Value> captureTaskBoardIn(const CodexFolders& codex,
                                                   const RuntimeLoadContext& context);

    friend bool operator==(const CodexRefreshSourceFingerprint&,
                           const CodexRefreshSourceFingerprint&) = default;
};

}  // namespace vantry
