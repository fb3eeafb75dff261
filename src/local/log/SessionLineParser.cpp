#include "local/log/SessionLineParser.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <span>
#include <string>
#include <utility>

#include "local/log/SessionLineFinder.h"
#include "local/log/SkillLoadPaths.h"
#include "platform/Iso8601.h"
#include "platform/Text.h"
#include "statistics/LocalModelUsageAccumulator.h"

namespace vantry {

namespace CodexUsageReader {

namespace {

std::optional<Date> dateOf(JsonView root) {
    const auto text = root["timestamp"].text();
    return text ? iso8601Date(*text) : std::nullopt;
}

void countUp(std::int64_t& count) {
    count = saturatingAdd(count, 1);
}

std::int64_t ordinalOf(JsonView root, const ParsedSessionUsage& usage) {
    const auto& ordinals = usage.trail.ordinals;
    const std::int64_t last = ordinals.empty() ? 0 : ordinals.back();
    return std::max(last, root["ordinal"].integer().value_or(last));
}

// What the records since the last reading say that the counter should show by now.
TokenBreakdown expectedReading(const ParsedSessionUsage& usage) {
    TokenBreakdown expected = usage.lastTokenUsage;
    for (const SessionPendingRecord& record : usage.pendingRecords) {
        if (!record.isBehindReading) expected.add(record.tokens);
    }
    return expected;
}

// The reading of a record comes right behind it. After anything else a crash has torn it, and the
// next growth may be another request's.
void expectNoReading(ParsedSessionUsage& usage) {
    for (SessionPendingRecord& record : usage.pendingRecords) record.isOverdue = true;
}

// Whether the latest of the records, one or more of them, add up to the growth.
bool addUpTo(const TokenBreakdown& growth, std::span<const SessionPendingRecord> records) {
    TokenBreakdown sum;
    for (std::size_t i = records.size(); i-- > 0;) {
        sum.add(records[i].tokens);
        if (sum == growth) return true;
    }
    return false;
}

// Whether the growth of a reading is that of records before it. Those that came since the last
// reading always account for it, and win where the two disagree; a crash can have torn the reading
// of one, so that older ones do only if they fit.
bool isRecorded(const TokenBreakdown& growth, bool startIsKnown,
                const std::optional<TokenBreakdown>& last, ParsedSessionUsage& usage) {
    const std::span<const SessionPendingRecord> pending = usage.pendingRecords;
    const bool fits =
        addUpTo(growth, pending) || (!startIsKnown && last && addUpTo(*last, pending));
    const bool hasFresh =
        std::ranges::any_of(pending, [](const auto& record) { return !record.isOverdue; });
    if (hasFresh && !fits) countUp(usage.lines.disagreeing);
    return fits || hasFresh;
}

// The reading after a delta is told by the one before, unless the counter started anew, its parts
// did not add up, or records account for something else than its growth.
void trace(ParsedSessionUsage& usage, const TokenBreakdown& expected, std::int64_t ordinal) {
    if (expected == usage.lastTokenUsage) return;
    usage.trail.corrections.push_back(
        {.deltaIndex = static_cast<std::int64_t>(usage.trail.ordinals.size()) - 1,
         .total = usage.lastTokenUsage,
         .ordinal = ordinal});
}

bool processTokenEvent(JsonView root, JsonView payload, ParsedSessionUsage& usage) {
    const JsonView info = payload["info"];
    // An event of quota alone: nothing is counted.
    if (info.isNull())
        return payload["rate_limits"].isObject() && payload["rate_limits"].size() > 0;
    const auto date = dateOf(root);
    const auto reading = parseTokenReading(info["total_token_usage"]);
    if (!date || !reading) return false;
    const auto last = parseTokenReading(info["last_token_usage"]);
    const bool startIsKnown = usage.firstReading.has_value();
    // A counter that shows nothing yet does not say where it starts.
    if (!startIsKnown && !reading->isZero()) usage.firstReading = {.total = *reading, .last = last};
    usage.hasTokenEvents = true;
    countUp(usage.tokenEventCount);
    TokenBreakdown expected = expectedReading(usage);
    const TokenBreakdown growth = reading->delta(std::exchange(usage.lastTokenUsage, *reading));
    const std::int64_t ordinal = ordinalOf(root, usage);
    if (growth.isZero()) {
        expectNoReading(usage);
    } else if (isRecorded(growth, startIsKnown, last, usage)) {
        usage.pendingRecords.clear();
    } else {
        if (!startIsKnown) {
            usage.firstReading->deltaIndex = static_cast<std::int64_t>(usage.deltas.size());
        }
        usage.deltas.push_back({.date = *date,
                                .tokens = growth,
                                .model = usage.lastModel,
                                .turnOrigin = usage.turnOrigin});
        usage.trail.ordinals.push_back(ordinal);
        expected.add(growth);
        usage.pendingRecords.clear();
    }
    trace(usage, expected, ordinal);
    for (SessionPendingRecord& record : usage.pendingRecords) record.isBehindReading = true;
    return true;
}

// Ids of this form sort by the time at which they were given.
bool isTimedId(std::string_view id) {
    constexpr std::size_t size = 36;
    constexpr std::size_t versionAt = 14;
    return id.size() == size && id[versionAt] == '7';
}

SessionTurnOrigin originOf(std::string_view turnId, std::string_view threadId) {
    if (!isTimedId(turnId) || !isTimedId(threadId)) return SessionTurnOrigin::unknown;
    constexpr std::size_t timeSize = 13;  // milliseconds, and the mark between their two parts
    return turnId.substr(0, timeSize) < threadId.substr(0, timeSize) ? SessionTurnOrigin::copied
                                                                     : SessionTurnOrigin::own;
}

/// The tokens as decimal numbers, each with a space behind it.
class NumbersText {
  public:
    explicit NumbersText(const TokenBreakdown& tokens) {
        for (const std::int64_t number : {tokens.inputTokens, tokens.cachedInputTokens,
                                          tokens.outputTokens, tokens.reasoningOutputTokens}) {
            end_ = std::to_chars(end_, std::end(bytes_), number).ptr;
            *end_++ = ' ';
        }
    }

    std::string_view text() const { return {bytes_, static_cast<std::size_t>(end_ - bytes_)}; }

  private:
    char bytes_[4 * 21];  // numbers of 64 bits, with their sign
    char* end_ = bytes_;
};

// A record that does not tell what was used, or when, is none: the counter behind it counts.
void processUsageRecord(JsonView root, JsonView payload, ParsedSessionUsage& usage) {
    const auto date = dateOf(root);
    const auto tokens = parseTokenReading(payload["usage"]);
    const auto turnTokens = parseTokenReading(payload["turn_token_usage"]);
    if (!date || !tokens || tokens->isZero()) return;
    const std::string_view thread = payload["thread_id"].text().value_or(usage.threadId);
    SessionUsageDelta delta{
        .date = *date,
        .tokens = *tokens,
        .model = usage.lastModel,
        .recordKey = sessionTextHash(
            {payload["response_id"].text().value_or(""), payload["turn_id"].text().value_or(""),
             NumbersText(*tokens).text(), turnTokens ? NumbersText(*turnTokens).text() : ""}),
        .cacheWriteInputTokens = std::clamp<std::int64_t>(
            int64Value(payload["usage"]["cache_write_input_tokens"]).value_or(0), 0,
            tokens->inputTokens),
        .turnOrigin = usage.turnOrigin};
    if (thread != usage.threadId) delta.recordThread = std::string(thread);
    usage.hasTokenEvents = true;
    usage.trail.ordinals.push_back(ordinalOf(root, usage));
    usage.deltas.push_back(std::move(delta));
    usage.pendingRecords.push_back({.tokens = *tokens});
}

// Counts the call. Who it is; nothing where it does not say.
std::optional<SessionToolCallIdentity> countToolCall(JsonView payload, ParsedSessionUsage& usage) {
    const auto name = payload["name"].text();
    if (!name || name->empty()) return std::nullopt;
    countUp(usage.toolCalls[std::string(*name)]);
    const std::string_view callID = trimmed(payload["call_id"].text().value_or(""));
    if (callID.empty()) return std::nullopt;
    SessionToolCallIdentity identity{.callID = std::string(callID),
                                     .name = std::string(*name),
                                     .kind = *ownedText(payload["type"])};
    usage.toolCallProofs.add(identity);
    return identity;
}

void processToolCall(JsonView root, std::string_view line, ParsedSessionUsage& usage) {
    const JsonView payload = root["payload"];
    auto identity = countToolCall(payload, usage);
    if (!mayNameSkillFile(line)) return;
    std::vector<std::string> paths = skillLoadPaths(payload);
    if (paths.empty()) return;
    SkillLoadEvent load{.date = dateOf(root), .toolCallIdentity = std::move(identity)};
    for (std::string& path : paths) {
        load.path = std::move(path);
        usage.skillLoads.push_back(load);
    }
}

}  // namespace

std::optional<TokenBreakdown> parseTokenReading(JsonView usage) {
    if (!usage.isObject()) return std::nullopt;
    const auto input = int64Value(usage["input_tokens"]);
    const auto cached = int64Value(usage["cached_input_tokens"]);
    const auto output = int64Value(usage["output_tokens"]);
    const auto total = int64Value(usage["total_tokens"]);
    if (!input || !cached || !output || !total) return std::nullopt;
    TokenBreakdown reading{
        .inputTokens = *input,
        .cachedInputTokens = *cached,
        .outputTokens = *output,
        .reasoningOutputTokens = int64Value(usage["reasoning_output_tokens"]).value_or(0),
        .totalTokens = *total};
    if (reading.hasNegativeValue() || reading.inputTokens < reading.cachedInputTokens ||
        reading.outputTokens < reading.reasoningOutputTokens ||
        __builtin_add_overflow(*input, *output, &reading.totalTokens)) {
        return std::nullopt;
    }
    return reading;
}

SessionLineOutcome processSessionLine(std::string_view line, ParsedSessionUsage& usage,
                                      JsonParser& parser) {
    if (!mayBeRelevant(line)) return SessionLineOutcome::taken;
    return processRelevantLine(line, usage, parser);
}

SessionLineOutcome processRelevantLine(std::string_view line, ParsedSessionUsage& usage,
                                       JsonParser& parser) {
    countUp(usage.lines.relevant);
    const auto root = parser.parsePadded(line);
    if (!root) {
        expectNoReading(usage);
        countUp(usage.lines.unreadable);
        return SessionLineOutcome::unreadable;
    }
    bool isSound = root->isObject();
    const JsonView payload = (*root)["payload"];
    const auto type = (*root)["type"].text();
    if (type == "turn_context") {
        isSound = payload.isObject();
        expectNoReading(usage);
        usage.lastModel = LocalModelUsageAccumulator::normalizedModel(payload["model"].text());
        usage.turnOrigin = originOf(payload["turn_id"].text().value_or(""), usage.threadId);
    } else if (type == "token_usage_record") {
        processUsageRecord(*root, payload, usage);
    } else if (const auto kind = payload["type"].text(); kind == "token_count") {
        isSound = processTokenEvent(*root, payload, usage);
    } else if (kind == "function_call" || kind == "custom_tool_call") {
        processToolCall(*root, line, usage);
    }
    return isSound ? SessionLineOutcome::taken : SessionLineOutcome::invalid;
}

}  // namespace CodexUsageReader

SessionUsageEventTimePolicy::AcceptedDeltas SessionUsageEventTimePolicy::acceptedDeltas(
    std::vector<SessionUsageDelta> deltas, std::optional<Date> now) {
    AcceptedDeltas accepted{.deltas = std::move(deltas)};
    if (!now) return accepted;
    const Date tomorrow = *now + 86'400.0;
    std::erase_if(accepted.deltas, [&](const auto& delta) {
        if (delta.date <= *now) return false;
        ++accepted.rejectedCount;
        if (!(delta.date <= tomorrow)) ++accepted.setAsideCount;
        return true;
    });
    return accepted;
}

Date SessionUsageEventCutoffPolicy::cutoff(const Scan& scan, const StatisticsContext& statistics) {
    const bool isWanted =
        scan.acceptsEventsWrittenDuringLoad && scan.scanCompletedAt >= scan.refreshStartedAt &&
        statistics.dayKey(scan.scanCompletedAt) == statistics.dayKey(scan.refreshStartedAt);
    return isWanted ? scan.scanCompletedAt : scan.refreshStartedAt;
}

}  // namespace vantry
