#include "local/log/SessionLineage.h"

#include <algorithm>
#include <string>

#include "local/log/SessionLineFinder.h"
#include "local/log/SessionLogStream.h"
#include "platform/Iso8601.h"
#include "platform/JsonReader.h"

namespace vantry::CodexUsageReader {

namespace {

std::optional<std::string> parentOf(JsonView payload) {
    for (const JsonView candidate :
         {payload["source"]["subagent"]["thread_spawn"]["parent_thread_id"],
          payload["parent_thread_id"], payload["forked_from_id"]}) {
        if (auto parent = ownedText(candidate)) return parent;
    }
    return std::nullopt;
}

// A base that cannot be read is kept as one that names no thread, so that the counter it speaks of
// is not taken for one that starts at zero.
std::optional<SessionHistoryBase> historyBaseOf(JsonView payload) {
    const JsonView base = payload["history_base"];
    if (base.isMissing() || base.isNull()) return std::nullopt;
    const auto thread = ownedText(base["thread_id"]);
    const auto end = base["end_ordinal_exclusive"].integer();
    if (!thread || !end) return SessionHistoryBase{};
    return SessionHistoryBase{.threadId = *thread, .endOrdinalExclusive = *end};
}

SessionHeader headerOf(std::string_view line, JsonParser& parser) {
    if (line.find("session_meta") == std::string_view::npos) return {};
    // Most of a header are instructions, of which nothing is wanted.
    constexpr std::size_t longestText = 16'384;
    const auto root = parser.parseShortTexts(line, longestText);
    // A header that a crash tore is still the first one: the next is of a copied thread.
    if (!root) return {.isThere = true};
    if ((*root)["type"].text() != "session_meta") return {};
    const JsonView payload = (*root)["payload"];
    const auto id = ownedText(payload["id"]);
    if (!id || id->empty()) return {.isThere = true};
    const JsonView subagent = payload["source"]["subagent"];
    SessionUsageLineage lineage{
        .threadId = *id,
        .parentThreadId = parentOf(payload),
        .historyBase = historyBaseOf(payload),
        .ownFromOrdinal = payload["subagent_history_start_ordinal"].integer(),
        .cwd = ownedText(payload["cwd"]),
        .isSubagent = subagent.isObject() || payload["thread_source"].text() == "subagent",
        .allowsMissingParent = subagent["other"].text() == "guardian"};
    if (lineage.parentThreadId == *id) lineage.parentThreadId.reset();
    if (const auto time = (*root)["timestamp"].text()) lineage.spawnedAt = iso8601Date(*time);
    return {.isThere = true, .lineage = std::move(lineage)};
}

}  // namespace

SessionHeader sessionHeaderAmong(std::string_view bytes, JsonParser& parser) {
    for (std::size_t end = bytes.find('\n'); end != bytes.npos; end = bytes.find('\n')) {
        SessionHeader header = headerOf(bytes.substr(0, end), parser);
        if (header.isThere) return header;
        bytes.remove_prefix(end + 1);
    }
    return {};
}

std::optional<SessionUsageLineage> readSessionUsageLineage(const FileDescriptor& log,
                                                           bool isCompressed) {
    constexpr std::size_t chunkBytes = 65'536;
    constexpr std::size_t headBytes = 2'097'152;
    SessionLogBytes bytes(log, isCompressed);
    JsonParser parser;
    std::string head;
    std::size_t consumed = 0;
    while (head.size() < headBytes) {
        const std::size_t before = head.size();
        head.resize(before + std::min(chunkBytes, headBytes - before));
        const auto count = bytes.read({head.data() + before, head.size() - before});
        if (!count || *count == 0) return std::nullopt;
        head.resize(before + *count);
        const std::string_view added = std::string_view(head).substr(before);
        const std::size_t finished = before + bytesOfFinishedLines(added);
        if (finished == before) continue;
        SessionHeader header = sessionHeaderAmong(
            std::string_view(head).substr(consumed, finished - consumed), parser);
        if (header.isThere) return std::move(header.lineage);
        consumed = finished;
    }
    return std::nullopt;
}

}  // namespace vantry::CodexUsageReader
