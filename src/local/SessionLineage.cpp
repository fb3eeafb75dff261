#include "local/SessionLineage.h"

#include <algorithm>
#include <string>

#include "io/RegularFileReader.h"
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

std::optional<SessionUsageLineage> lineageOf(std::string_view line, std::string_view threadId,
                                             JsonParser& parser) {
    if (line.find("session_meta") == std::string_view::npos) return std::nullopt;
    const auto root = parser.parse(line);
    if (!root || (*root)["type"].text() != "session_meta") return std::nullopt;
    const JsonView payload = (*root)["payload"];
    if (payload["id"].text() != threadId) return std::nullopt;
    SessionUsageLineage lineage{.threadId = std::string(threadId),
                                .parentThreadId = parentOf(payload),
                                .historyBase = historyBaseOf(payload)};
    if (lineage.parentThreadId == threadId) lineage.parentThreadId.reset();
    if (const auto time = (*root)["timestamp"].text()) lineage.spawnedAt = iso8601Date(*time);
    return lineage;
}

}  // namespace

std::optional<SessionUsageLineage> readSessionUsageLineage(const SessionHeaderRequest& request) {
    constexpr std::size_t chunkBytes = 65'536;
    constexpr std::size_t headBytes = 2'097'152;
    const auto file = RegularFileReader::open(
        {.path = request.log, .expectedFileIdentifier = request.expectedFileIdentifier});
    if (!file) return std::nullopt;
    JsonParser parser;
    std::string head;
    std::size_t consumed = 0;
    std::size_t scanned = 0;
    while (head.size() < headBytes) {
        const std::size_t before = head.size();
        head.resize(before + std::min(chunkBytes, headBytes - before));
        const auto count =
            RegularFileReader::read(*file, {head.data() + before, head.size() - before});
        if (!count || *count == 0) return std::nullopt;
        head.resize(before + *count);
        for (std::size_t end = head.find('\n', scanned); end != std::string::npos;
             end = head.find('\n', scanned)) {
            const std::string_view line(head.data() + consumed, end - consumed);
            if (auto lineage = lineageOf(line, request.expectedThreadId, parser)) return lineage;
            consumed = scanned = end + 1;
        }
        scanned = head.size();
    }
    return std::nullopt;
}

}  // namespace vantry::CodexUsageReader
