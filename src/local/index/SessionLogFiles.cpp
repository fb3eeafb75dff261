#include "local/index/SessionLogFiles.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <optional>
#include <string_view>
#include <sys/stat.h>

#include "local/log/SessionFileIdentity.h"

namespace vantry::CodexUsageReader {

namespace {

using Folder = SessionFolderCache::Folder;

constexpr std::int64_t nanosecondsPerSecond = 1'000'000'000;
constexpr int maxDepth = 8;

bool isLogName(std::string_view name) {
    return name.starts_with("rollout-") &&
           (name.ends_with(".jsonl") || name.ends_with(".jsonl.zst"));
}

struct CloseFolder {
    void operator()(DIR* folder) const { ::closedir(folder); }
};

// The type of an entry where the file system does not tell it with the name.
unsigned char typeOf(DIR* folder, const dirent& entry) {
    if (entry.d_type != DT_UNKNOWN) return entry.d_type;
    struct stat status {};
    if (::fstatat(::dirfd(folder), entry.d_name, &status, AT_SYMLINK_NOFOLLOW) != 0)
        return DT_UNKNOWN;
    return static_cast<unsigned char>(IFTODT(status.st_mode));
}

// Nothing for a folder that was listed or is gone, else why it was not.
std::optional<int> list(const std::string& path, Folder& into) {
    const int number =
        ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK);
    const std::unique_ptr<DIR, CloseFolder> folder(number < 0 ? nullptr : ::fdopendir(number));
    if (folder == nullptr) {
        into.isSettled = false;
        return errno == ENOENT || errno == ENOTDIR ? std::nullopt : std::optional(errno);
    }
    while (const dirent* entry = ::readdir(folder.get())) {
        const std::string_view name = entry->d_name;
        if (name == "." || name == "..") continue;
        const unsigned char type = typeOf(folder.get(), *entry);
        if (isLogName(name)) {
            (type == DT_REG ? into.logs : into.strangers).emplace_back(name);
        } else if (type == DT_DIR) {
            into.folders.emplace_back(name);
        } else if (type == DT_LNK) {
            into.strangers.emplace_back(name);
        }
    }
    return std::nullopt;
}

struct Walk {
    const SessionFolderCache& known;
    SessionFolderCache seen;
    SessionLogListing listing;

    void visit(const std::string& path, int depth) {
        struct stat status {};
        if (depth > maxDepth || ::lstat(path.c_str(), &status) != 0) return;
        if (S_ISLNK(status.st_mode)) listing.strangers.push_back(path);
        if (!S_ISDIR(status.st_mode)) return;
        Folder folder{.modificationNanoseconds = nanosecondsOf(status.st_mtim),
                      .changeNanoseconds = nanosecondsOf(status.st_ctim),
                      .number = status.st_ino};
        const auto before = known.folders.find(path);
        if (before != known.folders.end() && before->second.isSettled &&
            before->second.modificationNanoseconds == folder.modificationNanoseconds &&
            before->second.changeNanoseconds == folder.changeNanoseconds &&
            before->second.number == folder.number) {
            folder = before->second;
        } else {
            // Two changes can fall on one tick of a file system's clock.
            timespec now{};
            ::clock_gettime(CLOCK_REALTIME, &now);
            folder.isSettled =
                folder.changeNanoseconds < nanosecondsOf(now) - 2 * nanosecondsPerSecond;
            const auto error = list(path, folder);
            std::ranges::sort(folder.logs);
            std::ranges::sort(folder.folders);
            if (error) {
                if (*error == EMFILE || *error == ENFILE || *error == ENOMEM)
                    listing.isWhole = false;
                listing.closed.push_back(path);
            }
        }
        const auto inside = [&](const std::string& name) {
            return std::string(path).append(1, '/').append(name);
        };
        for (const std::string& name : folder.logs) listing.logs.push_back(inside(name));
        for (const std::string& name : folder.strangers) listing.strangers.push_back(inside(name));
        const auto place = seen.folders.insert_or_assign(path, std::move(folder)).first;
        for (const std::string& name : place->second.folders) visit(inside(name), depth + 1);
    }
};

}  // namespace

SessionLogListing sessionLogFiles(const std::filesystem::path& codexHome,
                                  SessionFolderCache& cache) {
    Walk walk{.known = cache, .seen = {}, .listing = {}};
    for (const char* name : {"sessions", "archived_sessions"}) {
        walk.visit((codexHome / name).native(), 0);
    }
    cache = std::move(walk.seen);
    // Folders hold either logs or folders, as a rule: then all are in order already.
    if (!std::ranges::is_sorted(walk.listing.logs)) std::ranges::sort(walk.listing.logs);
    std::ranges::sort(walk.listing.strangers);
    return std::move(walk.listing);
}

}  // namespace vantry::CodexUsageReader
