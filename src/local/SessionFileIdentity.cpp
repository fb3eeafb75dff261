#include "local/SessionFileIdentity.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

#include "io/RegularFileReader.h"
#include "platform/JsonReader.h"
#include "platform/Sha256.h"

namespace vantry {

namespace {

constexpr std::uint64_t nanosecondsPerSecond = 1'000'000'000;

/// The last `size` bytes of the snapshot's file.
std::optional<std::string> tailOf(const std::filesystem::path& path,
                                  const SessionFileSnapshot& snapshot, std::int64_t size) {
    const auto file = RegularFileReader::open({.path = path,
                                               .expectedFileIdentifier = snapshot.fileIdentifier,
                                               .minimumSize = snapshot.fileSize});
    if (!file || ::lseek(file->number(), snapshot.fileSize - size, SEEK_SET) < 0) {
        return std::nullopt;
    }
    std::string bytes(static_cast<std::size_t>(size), '\0');
    if (!RegularFileReader::readExactly(*file, bytes)) return std::nullopt;
    return bytes;
}

}  // namespace

std::optional<SessionFileSnapshot> SessionFileSnapshot::of(const std::filesystem::path& path) {
    struct stat status {};
    if (path.native().find('\0') != std::string::npos) return std::nullopt;
    if (::lstat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
    // Without a sign, so that a time out of reach wraps.
    const std::uint64_t nanoseconds =
        static_cast<std::uint64_t>(status.st_mtim.tv_sec) * nanosecondsPerSecond +
        static_cast<std::uint64_t>(status.st_mtim.tv_nsec);
    return SessionFileSnapshot{
        .fileSize = status.st_size,
        .modificationTimeNanoseconds = static_cast<std::int64_t>(nanoseconds),
        .fileIdentifier = status.st_ino};
}

std::optional<Date> SessionFileSnapshot::modificationDate() const {
    if (!modificationTimeNanoseconds) return std::nullopt;
    return Date(static_cast<double>(*modificationTimeNanoseconds) /
                static_cast<double>(nanosecondsPerSecond));
}

void SessionFileSnapshot::describe(SessionUsageCacheEntry& entry) const {
    entry.fileSize = fileSize;
    entry.modificationDate = modificationDate();
    entry.modificationTimeNanoseconds = modificationTimeNanoseconds;
    entry.fileIdentifier = fileIdentifier;
}

namespace CodexUsageReader {

bool sameSessionFileIdentity(const SessionUsageCacheEntry& entry,
                             const SessionFileSnapshot& snapshot) {
    return entry.fileSize == snapshot.fileSize &&
           entry.modificationTimeNanoseconds == snapshot.modificationTimeNanoseconds &&
           (!entry.fileIdentifier || entry.fileIdentifier == snapshot.fileIdentifier);
}

bool sessionFileMatchesSnapshot(const std::filesystem::path& path,
                                const SessionFileSnapshot& snapshot) {
    return SessionFileSnapshot::of(path) == snapshot;
}

bool sessionFileContainsSnapshotPrefix(const std::filesystem::path& path,
                                       const SessionFileSnapshot& snapshot) {
    const auto now = SessionFileSnapshot::of(path);
    return now && now->fileSize >= snapshot.fileSize &&
           (!snapshot.fileIdentifier || now->fileIdentifier == snapshot.fileIdentifier);
}

std::optional<std::int64_t> parsedSessionByteOffset(const std::filesystem::path& path,
                                                    const SessionFileSnapshot& snapshot) {
    constexpr std::int64_t longestWindow = 262'144;
    if (snapshot.fileSize <= 0) {
        return snapshot.fileSize == 0 ? std::optional<std::int64_t>(0) : std::nullopt;
    }
    const std::int64_t size = std::min(snapshot.fileSize, longestWindow);
    const auto window = tailOf(path, snapshot, size);
    if (!window) return std::nullopt;
    if (window->back() == '\n') return snapshot.fileSize;

    const std::size_t lineEnd = window->rfind('\n');
    const std::size_t start = lineEnd == std::string::npos ? 0 : lineEnd + 1;
    // A log whose writer has not ended its last line yet, or never will.
    if (JsonParser().parse(std::string_view(*window).substr(start))) return snapshot.fileSize;
    if (start == 0 && size < snapshot.fileSize) return std::nullopt;
    return snapshot.fileSize - size + static_cast<std::int64_t>(start);
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
    return sha256Hex(bytes);
}

}  // namespace CodexUsageReader

}  // namespace vantry
