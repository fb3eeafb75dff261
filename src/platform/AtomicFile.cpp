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
    std::string temporary = path.string() + ".XXXXXX";
    const FileDescriptor file(::mkostemp(temporary.data(), O_CLOEXEC));
    if (!file.isOpen()) return lastError();
    const std::error_code error = writeAndRename(file.number(), temporary, path, bytes, mode);
    if (error) ::unlink(temporary.c_str());
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
