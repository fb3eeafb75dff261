#include "local/SourceFingerprint.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <sys/stat.h>

#include "local/SessionUsageValidationPlanner.h"
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

// With its length before it, so that no text can be taken for two.
void appendText(std::string& text, std::string_view part) {
    appendNumber(text, static_cast<std::int64_t>(part.size()));
    text.append(part).push_back('|');
}

void appendSession(std::string& text, const LoadedSessionUsage& session) {
    const auto revision = SessionUsageSourceRevision::of(session.source);
    const SessionUsageCacheEntry& entry = session.entry;
    appendText(text, session.source.rolloutPath);
    appendText(text, revision.threadId);
    appendText(text, revision.model.value_or(""));
    appendText(text, revision.cwd);
    appendNumber(text, revision.updatedAtMilliseconds);
    appendNumber(text, (revision.isSubagent ? 1 : 0) + (revision.model ? 2 : 0) +
                           (revision.allowsMissingParentLineage ? 4 : 0));
    appendNumber(text, entry.fileSize);
    appendNumber(text, entry.modificationTimeNanoseconds);
    appendNumber(text, entry.tokenEventCount);
    appendNumber(text, entry.deltaCount());
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

std::string sessionSourcesFingerprint(const std::vector<LoadedSessionUsage>& sessions) {
    std::vector<const LoadedSessionUsage*> byPath;
    byPath.reserve(sessions.size());
    for (const LoadedSessionUsage& session : sessions) byPath.push_back(&session);
    std::ranges::sort(byPath, {}, [](const LoadedSessionUsage* session) -> const std::string& {
        return session->source.rolloutPath;
    });
    std::string text;
    for (const LoadedSessionUsage* session : byPath) appendSession(text, *session);
    return sha256Hex(text);  // ten thousand sessions would take megabytes
}

}  // namespace vantry::CodexUsageReader
