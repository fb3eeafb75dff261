#include "local/SourceFingerprint.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <sys/stat.h>

#include "platform/Sha256.h"

namespace vantry::CodexUsageReader {

namespace {

void appendNumber(std::string& text, std::int64_t number) {
    char digits[24];
    const auto end = std::to_chars(std::begin(digits), std::end(digits), number).ptr;
    text.append(digits, end).push_back('|');
}

void appendNumber(std::string& text, const std::optional<std::int64_t>& number) {
    if (number) return appendNumber(text, *number);
    text += "unknown|";
}

std::optional<std::int64_t> millisecondsOf(std::optional<Date> date) {
    if (!date) return std::nullopt;
    return static_cast<std::int64_t>(std::round(date->secondsSince1970() * 1000));
}

// With its length before it, so that no text can be taken for two.
void appendText(std::string& text, std::string_view part) {
    appendNumber(text, static_cast<std::int64_t>(part.size()));
    text.append(part).push_back('|');
}

void appendSession(std::string& text, const LoadedSessionUsage& session) {
    const SessionUsageSource& source = session.source;
    const SessionUsageCacheEntry& entry = session.entry;
    appendText(text, source.rolloutPath);
    appendText(text, source.threadId);
    appendText(text, source.model.value_or(""));
    appendText(text, source.cwd);
    appendText(text, source.title.value_or(""));
    appendNumber(text, millisecondsOf(source.updatedAt));
    appendNumber(text, (source.isSubagent ? 1 : 0) + (source.model ? 2 : 0) +
                           (source.allowsMissingParentLineage ? 4 : 0) + (session.isGone ? 8 : 0));
    appendNumber(text, entry.fileSize);
    appendNumber(text, entry.modificationTimeNanoseconds);
    appendNumber(text, entry.changeTimeNanoseconds);
    appendNumber(text, entry.tokenEventCount);
    appendNumber(text, entry.deltaCount());
}

void appendGap(std::string& text, const LocalUsageGap& gap) {
    appendNumber(text, static_cast<std::int64_t>(gap.kind));
    appendNumber(text, gap.count);
    for (const std::string& path : gap.paths) appendText(text, path);
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

std::string sessionSourcesFingerprint(const LoadedSessions& loaded) {
    std::vector<const LoadedSessionUsage*> byPath;
    byPath.reserve(loaded.sessions.size());
    for (const LoadedSessionUsage& session : loaded.sessions) byPath.push_back(&session);
    std::ranges::stable_sort(byPath, {},
                             [](const LoadedSessionUsage* session) -> const std::string& {
                                 return session->source.rolloutPath;
                             });
    std::string text;
    for (const LoadedSessionUsage* session : byPath) appendSession(text, *session);
    for (const LocalUsageGap& gap : loaded.gaps.list) appendGap(text, gap);
    return sha256Hex(text);  // ten thousand sessions would take megabytes
}

}  // namespace vantry::CodexUsageReader
