#include "io/RegularFileReader.h"

#include <cerrno>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace vantry::RegularFileReader {

std::optional<FileDescriptor> open(const Request& request) {
    if (request.minimumSize && *request.minimumSize < 0) return std::nullopt;
    if (request.path.native().find('\0') != std::string::npos) return std::nullopt;
    FileDescriptor file(
        ::open(request.path.c_str(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_NOCTTY | O_CLOEXEC));
    if (!file.isOpen()) return std::nullopt;
    struct stat status {};
    if (::fstat(file.number(), &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
    if (request.expectedFileIdentifier && status.st_ino != *request.expectedFileIdentifier) {
        return std::nullopt;
    }
    if (request.minimumSize && status.st_size < *request.minimumSize) return std::nullopt;
    return file;
}

std::optional<std::size_t> read(const FileDescriptor& file, std::span<char> buffer) {
    ssize_t count = 0;
    do {
        count = ::read(file.number(), buffer.data(), buffer.size());
    } while (count < 0 && errno == EINTR);
    if (count < 0) return std::nullopt;
    return static_cast<std::size_t>(count);
}

bool readExactly(const FileDescriptor& file, std::span<char> buffer) {
    while (!buffer.empty()) {
        const auto count = read(file, buffer);
        if (!count || *count == 0) return false;
        buffer = buffer.subspan(*count);
    }
    return true;
}

}  // namespace vantry::RegularFileReader
