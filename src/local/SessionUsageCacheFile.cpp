#include "local/SessionUsageCacheFile.h"

#include <algorithm>
#include <span>
#include <system_error>
#include <utility>
#include <vector>

#include "diagnostics/DebugLog.h"
#include "io/BoundedCacheData.h"
#include "local/SessionKeeping.h"
#include "platform/AtomicFile.h"
#include "platform/WorkQueue.h"

namespace vantry::CodexUsageReader {

namespace {

namespace fs = std::filesystem;

/// Walks over a JSON text from value to value without parsing them. The document is never in memory
/// a second time as a tree: its entries are parsed one after the other.
class TextWalker {
  public:
    explicit TextWalker(std::string_view text) : text_(text) {}

    /// Steps over `byte` and white space before it; false when something else stands there.
    bool take(char byte) {
        skipSpace();
        if (at_ == text_.size() || text_[at_] != byte) return false;
        ++at_;
        return true;
    }

    bool isAtEnd() {
        skipSpace();
        return at_ == text_.size();
    }

    /// Steps over a value. Its text, of which only quotes and the number of brackets are known to
    /// match; an empty one when there is none.
    std::string_view takeValue() {
        skipSpace();
        const std::size_t start = at_;
        std::size_t depth = 0;
        do {
            while (at_ < text_.size() && !isMark(text_[at_], depth)) ++at_;
            if (at_ == text_.size()) break;
            const char byte = text_[at_];
            if (byte == '"') {
                if (!takeString()) return {};
            } else if (byte == '{' || byte == '[') {
                ++depth;
                ++at_;
            } else if (depth > 0) {
                --depth;
                ++at_;
            }
        } while (depth > 0);
        return depth == 0 ? text_.substr(start, at_ - start) : std::string_view();
    }

  private:
    /// Whether a byte outside of strings ends a number or word, or changes the depth.
    static bool isMark(char byte, std::size_t depth) {
        switch (byte) {
            case '"':
            case '{':
            case '}':
            case '[':
            case ']':
                return true;
            case ',':
            case ':':
            case ' ':
            case '\t':
            case '\r':
            case '\n':
                return depth == 0;
            default:
                return false;
        }
    }

    void skipSpace() { at_ = std::min(text_.find_first_not_of(" \t\r\n", at_), text_.size()); }

    bool takeString() {
        const std::size_t first = at_ + 1;
        for (std::size_t end = first; (end = text_.find('"', end)) != std::string_view::npos;) {
            std::size_t escape = end++;
            while (escape > first && text_[escape - 1] == '\\') --escape;
            if ((end - 1 - escape) % 2 != 0) continue;
            at_ = end;
            return true;
        }
        return false;
    }

    std::string_view text_;
    std::size_t at_ = 0;
};

/// Hands the texts of each member's key and value to `visit`, which returns false to stop. Whether
/// all of an object was visited.
template <class Visit>
bool forEachMember(std::string_view object, Visit visit) {
    TextWalker walker(object);
    if (!walker.take('{')) return false;
    if (walker.take('}')) return walker.isAtEnd();
    do {
        const std::string_view key = walker.takeValue();
        if (!walker.take(':')) return false;
        const std::string_view value = walker.takeValue();
        if (key.empty() || value.empty() || !visit(key, value)) return false;
    } while (walker.take(','));
    return walker.take('}') && walker.isAtEnd();
}

/// Parses texts that lie in one document, in place wherever enough of it follows.
class DocumentParser {
  public:
    explicit DocumentParser(std::string_view document) : document_(document) {}

    std::optional<JsonView> parse(std::string_view text) {
        const char* const end = document_.data() + document_.size();
        const auto behind = static_cast<std::size_t>(end - (text.data() + text.size()));
        return behind >= JsonParser::padding ? parser_.parsePadded(text) : parser_.parse(text);
    }

  private:
    std::string_view document_;
    JsonParser parser_;
};

struct Frame {
    std::string_view entries;
    std::optional<std::int64_t> version;
};

std::optional<Frame> frameOf(std::string_view document, DocumentParser& parser) {
    Frame frame;
    const bool isObject = forEachMember(document, [&](std::string_view key, std::string_view text) {
        if (key == "\"entries\"") frame.entries = text;
        if (key == "\"version\"") {
            const auto version = parser.parse(text);
            frame.version = version ? version->integer() : std::nullopt;
        }
        return true;
    });
    if (!isObject) return std::nullopt;
    return frame;
}

struct MemberText {
    std::string_view key;
    std::string_view value;
};

SessionUsageDiskCacheReading readMembers(std::string_view document,
                                         std::span<const MemberText> members) {
    DocumentParser parser(document);
    SessionUsageCacheEntries entries;
    for (const MemberText& member : members) {
        const auto keyValue = parser.parse(member.key);
        const auto path = keyValue ? keyValue->text() : std::nullopt;
        if (!path) return {.error = "malformed session usage cache"};
        std::string name(*path);  // the view ends with the next text
        const auto value = parser.parse(member.value);
        auto reading = readSessionUsageCacheEntry(value.value_or(JsonView()));
        if (!reading.entry) return {.error = std::move(reading.error)};
        auto& lineage = reading.entry->lineage;
        if (!lineage) lineage = SessionUsageLineage{.threadId = sessionThreadIdOfFile(name)};
        if (!reading.entry->isCurrent) reading.entry->isCounted = true;  // as all were then
        entries.emplace_hint(entries.end(), std::move(name), std::move(*reading.entry));
    }
    return {.entries = std::move(entries)};
}

// Ten thousand entries take a third of a second to check: half of them on another thread.
SessionUsageDiskCacheReading readInTwoHalves(std::string_view document,
                                             std::span<const MemberText> members) {
    constexpr std::size_t fewEntries = 1'000;
    if (members.size() < fewEntries) return readMembers(document, members);
    const std::size_t half = members.size() / 2;
    SessionUsageDiskCacheReading second;
    const auto readSecond = [&] { second = readMembers(document, members.subspan(half)); };
    SessionUsageDiskCacheReading first;
    try {
        WorkQueue queue(1);
        TaskGroup group(queue);
        group.submit(readSecond);
        first = readMembers(document, members.first(half));
        group.wait();
    } catch (const std::system_error&) {
        first = readMembers(document, members.first(half));
        readSecond();  // no thread could be had but this one
    }
    if (!first.entries) return first;
    if (!second.entries) return second;
    first.entries->merge(*second.entries);
    return first;
}

// Merges in what the file holds, if it is not the one that was last read or written. What memory
// already holds stays.
void takeOver(SessionUsageCache& cache, const fs::path& file) {
    const auto found = SessionFileSnapshot::of(file);
    if (!found || found == cache.diskFile) return;
    cache.diskFile = found;
    const auto document = boundedCacheData(file, sessionUsageCacheByteLimit);
    if (!document) return;
    auto reading = readSessionUsageDiskCache(*document);
    if (reading.entries) cache.entries.merge(*reading.entries);
}

std::string write(SessionUsageCache& cache, const SessionUsageCacheWrite& request) {
    takeOver(cache, request.file);
    std::error_code error;
    fs::create_directories(request.file.parent_path(), error);
    if (error) return error.message();

    const std::size_t count = cache.entries.size();
    PrunedSessionUsageCache pruned = prunedSessionUsageCache({.entries = std::move(cache.entries),
                                                              .activePaths = request.activePaths,
                                                              .now = request.now,
                                                              .entryLimit = count});
    cache.entries = std::move(pruned.entries);
    cache.entries.merge(pruned.unfitting);
    if (!pruned.error.empty()) return std::move(pruned.error);
    error = replaceFileAtomically(request.file, pruned.document);
    if (error) return error.message();
    cache.diskFile = SessionFileSnapshot::of(request.file);
    return {};
}

}  // namespace

fs::path sessionUsageCacheURL(const fs::path& cacheDirectory) {
    return cacheDirectory.empty() ? fs::path() : cacheDirectory / "session-usage-v1.json";
}

SessionUsageDiskCacheReading readSessionUsageDiskCache(std::string_view document) {
    DocumentParser parser(document);
    const auto frame = frameOf(document, parser);
    if (!frame) return {.error = "malformed session usage cache"};
    if (frame->version != sessionUsageCacheVersion &&
        frame->version != sessionUsageCacheVersion - 1) {
        return {.error = "session usage cache of another version"};
    }
    std::vector<MemberText> members;
    const bool isObject =
        forEachMember(frame->entries, [&](std::string_view key, std::string_view text) {
            members.push_back({.key = key, .value = text});
            return true;
        });
    if (!isObject) return {.error = "malformed session usage cache"};
    return readInTwoHalves(document, members);
}

SessionUsageCacheEntries& persistentSessionUsageCache(SessionUsageCache& cache,
                                                      const fs::path& file) {
    if (cache.isDiskMerged || file.empty()) return cache.entries;
    cache.isDiskMerged = true;
    takeOver(cache, file);
    return cache.entries;
}

void writePersistentSessionUsageCache(SessionUsageCache& cache,
                                      const SessionUsageCacheWrite& request) {
    if (request.file.empty()) return;
    persistentSessionUsageCache(cache, request.file);
    const std::string error = write(cache, request);
    if (error.empty()) {
        cache.hasChanges = false;
    } else {
        debugLog("failed to write session usage cache: " + error);
    }
}

}  // namespace vantry::CodexUsageReader
