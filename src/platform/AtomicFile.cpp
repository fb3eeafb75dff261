#include "platform/AtomicFile.h"

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <sys/file.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

#include "platform/FileDescriptor.h"

namespace vantry {

namespace {

std::error_code lastError() {
    return {errno, std::generic_category()};
}

std::error_code writeAll(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
        if (written < 0 && errno == EINTR) continue;
        if (written < 0) return lastError();
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    return {};
}

// The name of a temporary file is the target's, this, and six characters.
constexpr std::string_view mark = ".replacing-";
constexpr std::string_view placeholder = "XXXXXX";

// A living writer holds the lock of its temporary file, and the kernel lets go of a dead one's. Who
// removes one holds its lock too, so that its writer, who may be about to take it, finds it taken
// or the file gone. Where the file system has no locks nothing is removed.
bool takeLock(int descriptor) {
    while (::flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
        if (errno != EINTR) return false;
    }
    return true;
}

bool isNamed(int descriptor, const std::filesystem::path& name) {
    struct stat opened {};
    struct stat named {};
    return ::fstat(descriptor, &opened) == 0 && ::lstat(name.c_str(), &named) == 0 &&
           opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

void removeIfItsWriterIsDead(const std::filesystem::path& temporary) {
    const FileDescriptor file(
        ::open(temporary.c_str(), O_RDWR | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC));
    // By the time that the lock is ours the file may have become the target.
    if (file.isOpen() && takeLock(file.number()) && isNamed(file.number(), temporary)) {
        ::unlink(temporary.c_str());
    }
}

void removeFilesOfDeadWriters(const std::filesystem::path& path) {
    const std::string prefix = path.filename().string() + std::string(mark);
    std::error_code error;
    std::filesystem::directory_iterator entries(
        path.has_parent_path() ? path.parent_path() : std::filesystem::path("."), error);
    for (; !error && entries != std::filesystem::directory_iterator(); entries.increment(error)) {
        const std::string name = entries->path().filename().string();
        if (name.size() == prefix.size() + placeholder.size() && name.starts_with(prefix)) {
            removeIfItsWriterIsDead(entries->path());
        }
    }
}

struct TemporaryFile {
    FileDescriptor descriptor;  // closed where none could be made
    std::string name;
    std::error_code error;
};

TemporaryFile makeTemporaryFile(const std::filesystem::path& path) {
    constexpr int attempts = 8;  // each of them can only fall to another writer that clears up
    TemporaryFile file;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        file.name = path.string();
        file.name.append(mark).append(placeholder);
        file.descriptor = FileDescriptor(::mkostemp(file.name.data(), O_CLOEXEC));
        file.error = file.descriptor.isOpen() ? std::error_code() : lastError();
        if (file.error) return file;
        const bool isTaken = !takeLock(file.descriptor.number()) && errno == EWOULDBLOCK;
        if (!isTaken && isNamed(file.descriptor.number(), file.name)) return file;
    }
    file.descriptor.close();
    file.error = std::make_error_code(std::errc::resource_unavailable_try_again);
    return file;
}

std::error_code writeAndRename(int descriptor, const std::string& temporary,
                               const std::filesystem::path& path, std::string_view bytes,
                               mode_t mode) {
    if (const std::error_code error = writeAll(descriptor, bytes)) return error;
    if (::fchmod(descriptor, mode) != 0) return lastError();
    if (::fsync(descriptor) != 0) return lastError();
    if (::rename(temporary.c_str(), path.c_str()) != 0) return lastError();
    return {};
}

}  // namespace

std::error_code replaceFileAtomically(const std::filesystem::path& path, std::string_view bytes,
                                      mode_t mode) {
    removeFilesOfDeadWriters(path);  // first: they may be what fills the disk
    const TemporaryFile file = makeTemporaryFile(path);
    if (file.error) return file.error;
    const std::error_code error =
        writeAndRename(file.descriptor.number(), file.name, path, bytes, mode);
    if (error) ::unlink(file.name.c_str());
    return error;
}

FileDescriptor lockBeside(const std::filesystem::path& file) {
    constexpr int attempts = 200;
    constexpr auto pause = std::chrono::milliseconds(5);
    const std::string path = file.string() + ".lock";
    FileDescriptor lock(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
    for (int attempt = 0; lock.isOpen(); ++attempt) {
        if (::flock(lock.number(), LOCK_EX | LOCK_NB) == 0) break;
        if (errno != EWOULDBLOCK && errno != EINTR) lock.close();
        if (attempt == attempts) lock.close();
        std::this_thread::sleep_for(pause);
    }
    return lock;
}

}  // namespace vantry
