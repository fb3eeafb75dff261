#include "refresh/CodexRefreshSourceFingerprint.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <sys/stat.h>
#include <system_error>
#include <utility>

#include "local/index/StateDatabase.h"

namespace vantry {

namespace fs = std::filesystem;

namespace {

constexpr int maxTreeDepth = 8;
constexpr std::size_t maxTreeEntries = 4'096;
constexpr std::string_view directoryType = "directory";

using Items = std::vector<MetadataItem>;
using Value = CodexRefreshSourceFingerprint::Value;

std::string_view typeOf(mode_t mode) {
    switch (mode & S_IFMT) {
        case S_IFREG:
            return "regular";
        case S_IFDIR:
            return directoryType;
        case S_IFLNK:
            return "symbolicLink";
        case S_IFIFO:
            return "fifo";
        case S_IFSOCK:
            return "socket";
        case S_IFCHR:
            return "characterSpecial";
        case S_IFBLK:
            return "blockSpecial";
        default:
            return "unknown";
    }
}

/// Whether a path that fails with this error names nothing.
bool isAbsence(int error) {
    return error == ENOENT || error == ENOTDIR || error == ENAMETOOLONG;
}

/// False for a path of which nothing is said.
bool append(Items& items, std::string path) {
    struct stat status {};
    // The database can hold any text, and what follows a NUL would not be looked at.
    const bool isPath = path.find('\0') == std::string::npos;
    if (!isPath || ::lstat(path.c_str(), &status) != 0) {
        const bool isAbsent = !isPath || isAbsence(errno);
        if (isAbsent) items.push_back({.path = std::move(path)});
        return isAbsent;
    }
    items.push_back(
        {.path = std::move(path),
         .exists = true,
         .type = typeOf(status.st_mode),
         .size = static_cast<std::uint64_t>(status.st_size),
         .modificationNanoseconds =
             static_cast<std::uint64_t>(status.st_mtim.tv_sec) * 1'000'000'000 +
             static_cast<std::uint64_t>(status.st_mtim.tv_nsec),
         .fileNumber = status.st_ino,
         .changeNanoseconds = static_cast<std::uint64_t>(status.st_ctim.tv_sec) * 1'000'000'000 +
                              static_cast<std::uint64_t>(status.st_ctim.tv_nsec)});
    return true;
}

/// The order in which a directory is listed must not show.
Items byPath(Items items) {
    if (!std::ranges::is_sorted(items, {}, &MetadataItem::path)) {
        std::ranges::stable_sort(items, {}, &MetadataItem::path);
    }
    return items;
}

/// False if one of the entries cannot be read, or there are too many.
bool appendEntries(Items& items, const fs::path& directory) {
    std::error_code error;
    for (fs::directory_iterator entry(directory, error);
         !error && entry != fs::directory_iterator(); entry.increment(error)) {
        if (items.size() > maxTreeEntries) return false;
        if (!append(items, entry->path().native())) return false;
    }
    return true;
}

/// Decimal text without a string of its own.
class Decimal {
  public:
    explicit Decimal(std::uint64_t number)
        : end_(std::to_chars(std::begin(digits_), std::end(digits_), number).ptr) {}

    std::string_view text() const { return {digits_, static_cast<std::size_t>(end_ - digits_)}; }

  private:
    char digits_[20];
    const char* end_;
};

std::string_view existsText(const MetadataItem& item) {
    return item.exists ? "1" : "0";
}

class Fnv1a {
  public:
    void combine(std::string_view text) {
        for (const char byte : text) step(static_cast<unsigned char>(byte));
        step(255);  // never part of UTF-8
    }

    std::uint64_t value() const { return hash_; }

  private:
    void step(std::uint64_t byte) { hash_ = (hash_ ^ byte) * 0x100000001b3; }

    std::uint64_t hash_ = 0xcbf29ce484222325;
};

/// False if there is nothing to append.
bool append(Items& items, std::optional<Items> more) {
    if (!more) return false;
    std::ranges::move(*more, std::back_inserter(items));
    return true;
}

/// Zone, day and hour of the context.
struct Clock {
    explicit Clock(const RuntimeLoadContext& context) {
        const Calendar calendar = context.statistics.calendar();
        zone = context.statistics.resolvedIdentifier();
        day = localDayKey(context.now, calendar);
        hour = std::to_string(calendar.hour(context.now).value_or(0));
    }

    std::string zone;
    std::string day;
    std::string hour;
};

}  // namespace

namespace RefreshSourceMetadata {

std::optional<Items> ofFiles(std::span<const std::string> paths) {
    Items items;
    items.reserve(paths.size());
    for (const std::string& path : paths) {
        if (!append(items, path)) return std::nullopt;
    }
    return byPath(std::move(items));
}

std::optional<Items> ofTree(const fs::path& root) {
    Items items;
    if (!append(items, root.native())) return std::nullopt;
    // Level by level: what was found on one is where the next one is looked for.
    std::size_t first = 0;
    for (int depth = 0; depth < maxTreeDepth && first < items.size(); ++depth) {
        const std::size_t end = items.size();
        for (; first < end; ++first) {
            if (items[first].type != directoryType) continue;
            const fs::path directory = items[first].path;
            if (!appendEntries(items, directory)) return std::nullopt;
        }
    }
    for (MetadataItem& item : items) item.changeNanoseconds = 0;
    return byPath(std::move(items));
}

std::optional<Items> ofStateFiles(const CodexFolders& folders) {
    Items items;
    for (const fs::path& path : CodexUsageReader::stateDatabasePaths(folders)) {
        std::error_code error;
        const fs::path target = fs::canonical(path, error);
        const std::string database = error ? path.native() : target.native();
        for (const char* suffix : {"", "-wal", "-shm"}) {
            if (!append(items, database + suffix)) return std::nullopt;
        }
        items.back().modificationNanoseconds = 0;
    }
    for (MetadataItem& item : items) item.changeNanoseconds = 0;
    return byPath(std::move(items));
}

std::uint64_t digest(std::span<const std::string> semanticValues,
                     std::span<const MetadataItem> items) {
    Fnv1a hash;
    for (const std::string& value : semanticValues) hash.combine(value);
    for (const MetadataItem& item : items) {
        hash.combine(item.path);
        hash.combine(existsText(item));
        hash.combine(item.type);
        hash.combine(Decimal(item.size).text());
        hash.combine(Decimal(item.modificationNanoseconds).text());
        hash.combine(Decimal(item.fileNumber).text());
        if (item.changeNanoseconds > 0) hash.combine(Decimal(item.changeNanoseconds).text());
    }
    return hash.value();
}

}  // namespace RefreshSourceMetadata

std::optional<CodexRefreshSourceFingerprint> CodexRefreshSourceFingerprint::capture(
    const RefreshFingerprintRequest& request) {
    auto localUsage = captureLocalUsage(request);
    if (!localUsage) return std::nullopt;
    auto taskBoard = captureTaskBoard(request.context);
    if (!taskBoard) return std::nullopt;
    return CodexRefreshSourceFingerprint{.localUsage = *localUsage, .taskBoard = *taskBoard};
}

std::optional<Value> CodexRefreshSourceFingerprint::captureLocalUsage(
    const RefreshFingerprintRequest& request) {
    const CodexFolders codex = request.context.codex();
    auto sessions = RefreshSourceMetadata::ofFiles(request.indexedSessionFiles);
    if (!sessions) return std::nullopt;
    Items items;
    items.reserve(sessions->size() + 7);
    if (!append(items, RefreshSourceMetadata::ofStateFiles(codex))) return std::nullopt;
    std::ranges::move(*sessions, std::back_inserter(items));
    if (!append(items, (codex.home / ".codex-global-state.json").native())) return std::nullopt;

    const Clock clock(request.context);
    const std::string semanticValues[] = {clock.zone, clock.day, clock.hour};
    return Value{.digest = RefreshSourceMetadata::digest(semanticValues, items)};
}

std::optional<Value> CodexRefreshSourceFingerprint::captureTaskBoard(
    const RuntimeLoadContext& context) {
    return captureTaskBoardIn(context.userCodex(), context);
}

std::optional<Value> CodexRefreshSourceFingerprint::captureTaskBoardIn(
    const CodexFolders& codex, const RuntimeLoadContext& context) {
    Items items;
    if (!append(items, RefreshSourceMetadata::ofStateFiles(codex)) ||
        !append(items, RefreshSourceMetadata::ofTree(codex.home / "automations"))) {
        return std::nullopt;
    }
    const Clock clock(context);
    const std::string semanticValues[] = {clock.zone, clock.day};
    return Value{.digest = RefreshSourceMetadata::digest(semanticValues, items)};
}

}  // namespace vantry
