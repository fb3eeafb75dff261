#include "local/index/SourceFingerprint.h"

#include <cerrno>
#include <charconv>
#include <iterator>
#include <sys/stat.h>

namespace vantry::CodexUsageReader {

namespace {

void appendNumber(std::string& text, std::int64_t number) {
    char digits[24];
    const auto end = std::to_chars(std::begin(digits), std::end(digits), number).ptr;
    text.append(digits, end).push_back('|');
}

void appendFile(std::string& text, const std::filesystem::path& path, bool withTime) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        text += errno == ENOENT || errno == ENOTDIR ? "missing|" : "unknown|";
        return;
    }
    appendNumber(text, status.st_size);
    if (!withTime) return;
    appendNumber(text, status.st_mtim.tv_sec);
    appendNumber(text, status.st_mtim.tv_nsec);
}

}  // namespace

std::string fileFingerprint(const std::vector<std::filesystem::path>& paths) {
    std::string text;
    for (const auto& path : paths) appendFile(text, path, true);
    return text;
}

std::string fileSizeFingerprint(const std::filesystem::path& path) {
    std::string text;
    appendFile(text, path, false);
    return text;
}

}  // namespace vantry::CodexUsageReader
