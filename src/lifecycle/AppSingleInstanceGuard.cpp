#include "lifecycle/AppSingleInstanceGuard.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <utility>

#include "platform/UserDirectories.h"

namespace vantry {

namespace fs = std::filesystem;

AppSingleInstanceGuard::AppSingleInstanceGuard(FileDescriptor fileDescriptor, fs::path directory)
    : fileDescriptor_(std::move(fileDescriptor)), directory_(std::move(directory)) {}

std::string AppSingleInstanceGuard::Failure::description() const {
    return operation + ": " + std::generic_category().message(code);
}

fs::path AppSingleInstanceGuard::defaultLockDirectory(const std::string& bundleIdentifier) {
    return UserDirectories::current().data / bundleIdentifier / "ProcessLock";
}

AppSingleInstanceGuard::Outcome AppSingleInstanceGuard::acquire(
    const std::string& bundleIdentifier, const std::optional<fs::path>& lockDirectory) {
    const fs::path directory = lockDirectory.value_or(defaultLockDirectory(bundleIdentifier));
    std::error_code error;
    fs::create_directories(directory, error);
    if (error) return Failure{"create", error.value()};
    // Whoever could put a file of his here could pose as this program to a second start.
    if (::chmod(directory.c_str(), S_IRWXU) != 0) return Failure{"chmod", errno};
    const fs::path file = directory / "instance.lock";
    FileDescriptor descriptor(
        ::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, S_IRUSR | S_IWUSR));
    if (!descriptor.isOpen()) return Failure{"open", errno};
    if (::flock(descriptor.number(), LOCK_EX | LOCK_NB) == 0) {
        return Guard(new AppSingleInstanceGuard(std::move(descriptor), directory));
    }
    if (errno == EWOULDBLOCK) return ApplicationPlatform::LockHeldByAnother{};
    return Failure{"flock", errno};
}

}  // namespace vantry
