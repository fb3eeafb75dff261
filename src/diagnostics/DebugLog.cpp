#include "diagnostics/DebugLog.h"

#include <cerrno>
#include <exception>
#include <fcntl.h>
#include <mutex>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/FileDescriptor.h"
#include "platform/Iso8601.h"
#include "platform/UserDirectories.h"

namespace vantry {

namespace {

constexpr mode_t privateDirectory = 0700;
constexpr mode_t privateFile = 0600;

void createPrivateDirectories(const std::filesystem::path& directory) {
    std::filesystem::path prefix;
    for (const std::filesystem::path& component : directory) {
        prefix /= component;
        ::mkdir(prefix.c_str(), privateDirectory);
    }
}

/// Makes the directory `name` if there is none. Closed if something else has the name: each
/// directory is opened from its parent's descriptor, so that nothing can be swapped in between.
FileDescriptor openDirectory(const FileDescriptor& parent, const char* name) {
    if (::mkdirat(parent.number(), name, privateDirectory) != 0 && errno != EEXIST) return {};
    return FileDescriptor(
        ::openat(parent.number(), name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

/// O_NONBLOCK is for a FIFO in the file's place: its opening fails at once if nobody reads it.
FileDescriptor openLogFile(const FileDescriptor& directory) {
    FileDescriptor file(
        ::openat(directory.number(), "Vantry.log",
                 O_WRONLY | O_NONBLOCK | O_APPEND | O_NOFOLLOW | O_CREAT | O_NOCTTY | O_CLOEXEC,
                 privateFile));
    struct stat status {};
    if (!file.isOpen() || ::fstat(file.number(), &status) != 0 || !S_ISREG(status.st_mode) ||
        ::fchmod(file.number(), privateFile) != 0) {
        return {};
    }
    return file;
}

void appendText(const std::filesystem::path& libraryDirectory, std::string_view text) {
    const FileDescriptor library(
        ::open(libraryDirectory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!library.isOpen()) return;
    const FileDescriptor logs = openDirectory(library, "Logs");
    if (!logs.isOpen()) return;
    const FileDescriptor directory = openDirectory(logs, "Vantry");
    if (!directory.isOpen() || ::fchmod(directory.number(), privateDirectory) != 0) return;
    const FileDescriptor file = openLogFile(directory);
    if (!file.isOpen()) return;
    [[maybe_unused]] const ssize_t dropped = ::write(file.number(), text.data(), text.size());
}

}  // namespace

void debugLog(std::string_view message) {
    DebugLogWriter::write(message, processEnvironment);
}

void DebugLogWriter::write(std::string_view message, const Environment& environment) {
    try {
        if (environment("CODEX_USAGE_WIDGET_DEBUG") != "1") return;
        const std::filesystem::path state = UserDirectories::current(environment).state;
        createPrivateDirectories(state);
        append({.message = message, .libraryDirectory = state, .now = Date::now()});
    } catch (const std::exception&) {
        // A diagnostic must not become a failure of whoever asked for it.
    }
}

void DebugLogWriter::append(const Line& line) {
    static std::mutex mutex;
    std::string text = iso8601Text(line.now).value_or("-");
    text.append(" ").append(line.message).append("\n");
    const std::scoped_lock lock(mutex);
    appendText(line.libraryDirectory, text);
}

}  // namespace vantry
