#include "local/log/SessionFileIdentity.h"

#include <algorithm>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/Checksum.h"

namespace vantry {

namespace {

constexpr std::uint64_t nanosecondsPerSecond = 1'000'000'000;

}  // namespace

std::int64_t nanosecondsOf(const timespec& time) {
    // Without a sign, so that a time out of reach wraps.
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(time.tv_sec) *
                                         nanosecondsPerSecond +
                                     static_cast<std::uint64_t>(time.tv_nsec));
}

std::optional<SessionFileSnapshot> SessionFileSnapshot::of(const std::string& path) {
    struct stat status {};
    if (path.find('\0') != std::string::npos) return std::nullopt;
    if (::lstat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
    return SessionFileSnapshot{.fileSize = status.st_size,
                               .modificationTimeNanoseconds = nanosecondsOf(status.st_mtim),
                               .fileIdentifier = status.st_ino,
                               .changeTimeNanoseconds = nanosecondsOf(status.st_ctim),
                               .mode = static_cast<std::int64_t>(status.st_mode)};
}

std::optional<Date> SessionFileSnapshot::modificationDate() const {
    if (!modificationTimeNanoseconds) return std::nullopt;
    return Date(static_cast<double>(*modificationTimeNanoseconds) /
                static_cast<double>(nanosecondsPerSecond));
}

void SessionFileSnapshot::describe(SessionUsageCacheEntry& entry) const {
    entry.fileSize = fileSize;
    entry.modificationTimeNanoseconds = modificationTimeNanoseconds;
    entry.fileIdentifier = fileIdentifier;
    entry.changeTimeNanoseconds = changeTimeNanoseconds;
    entry.mode = mode;
}

namespace CodexUsageReader {

bool sameSessionFileIdentity(const SessionFileSnapshot& known, const SessionFileSnapshot& now) {
    return known.fileSize == now.fileSize &&
           known.modificationTimeNanoseconds == now.modificationTimeNanoseconds &&
           known.changeTimeNanoseconds == now.changeTimeNanoseconds && known.mode == now.mode &&
           (!known.fileIdentifier || known.fileIdentifier == now.fileIdentifier);
}

bool sessionFileContainsSnapshotPrefix(const std::filesystem::path& path,
                                       const SessionFileSnapshot& snapshot) {
    const auto now = SessionFileSnapshot::of(path);
    return now && now->fileSize >= snapshot.fileSize &&
           (!snapshot.fileIdentifier || now->fileIdentifier == snapshot.fileIdentifier);
}

std::optional<std::string> sessionPrefixProof(const FileDescriptor& file, std::int64_t offset) {
    constexpr std::int64_t longest = 512;
    const auto size = static_cast<std::size_t>(std::min(offset, longest));
    std::string bytes(2 * size, '\0');
    const auto take = [&](std::size_t to, std::int64_t from) {
        return ::pread(file.number(), bytes.data() + to, size, from) == static_cast<ssize_t>(size);
    };
    if (offset < 0 || !take(0, 0) || !take(size, offset - static_cast<std::int64_t>(size))) {
        return std::nullopt;
    }
    return std::to_string(checksum(0, {bytes}));
}

}  // namespace CodexUsageReader

}  // namespace vantry
