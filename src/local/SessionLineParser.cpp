#include "local/SessionLineParser.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "local/SkillLoadPaths.h"
#include "platform/Iso8601.h"
#include "platform/Text.h"
#include "statistics/LocalModelUsageAccumulator.h"

namespace vantry {

namespace CodexUsageReader {

namespace {

constexpr std::string_view typeNeedle = "\"type\"";

// The needles share "_c", which is looked for first: underscores are rarer than quotes.
constexpr std::string_view needles[] = {"\"token_count\"", "\"function_call\"",
                                        "\"custom_tool_call\"", "\"turn_context\""};

// Whether a needle stands around the "_c" at `at`.
bool isNeedleAt(std::string_view bytes, std::size_t at) {
    return std::ranges::any_of(needles, [&](std::string_view needle) {
        const std::size_t before = needle.find("_c");
        return at >= before && bytes.substr(at - before, needle.size()) == needle;
    });
}

bool holdsNeedle(std::string_view bytes) {
    const char* const end = bytes.data() + bytes.size();
    const char* from = bytes.data();
    while (from < end) {
        const auto* found =
            static_cast<const char*>(std::memchr(from, '_', static_cast<std::size_t>(end - from)));
        if (found == nullptr) return false;
        from = found + 1;
        if (from < end && *from == 'c' &&
            isNeedleAt(bytes, static_cast<std::size_t>(found - bytes.data()))) {
            return true;
        }
    }
    return false;
}

std::optional<Date> dateOf(JsonView root) {
    const auto text = root["timestamp"].text();
    return text ? iso8601Date(*text) : std::nullopt;
}

void countUp(std::int64_t& count) {
    count = saturatingAdd(count, 1);
}

// The reading after a delta is told by the one before, unless the counter started anew or its parts
// did not add up.
void trace(ParsedSessionUsage& usage, const TokenBreakdown& before, const SessionUsageDelta* delta,
           JsonView root) {
    std::vector<std::int64_t>& ordinals = usage.trail.ordinals;
    TokenBreakdown expected = before;
    const std::int64_t last = ordinals.empty() ? 0 : ordinals.back();
    const std::int64_t ordinal = std::max(last, root["ordinal"].integer().value_or(last));
    if (delta != nullptr) {
        ordinals.push_back(ordinal);
        expected.add(delta->tokens);
    }
    if (expected != usage.lastTokenUsage) {
        usage.trail.corrections.push_back(
            {.deltaIndex = static_cast<std::int64_t>(ordinals.size()) - 1,
             .total = usage.lastTokenUsage,
             .ordinal = ordinal});
    }
}

bool processTokenEvent(JsonView root, JsonView payload, ParsedSessionUsage& usage) {
    const JsonView info = payload["info"];
    // An event of quota alone: nothing is counted.
    if (info.isNull())
        return payload["rate_limits"].isObject() && payload["rate_limits"].size() > 0;
    const auto date = dateOf(root);
    const auto reading = parseTokenReading(info["total_token_usage"]);
    if (!date || !reading) return false;
    // A counter that shows nothing yet does not say where it starts.
    if (!usage.firstReading && !reading->isZero()) {
        usage.firstReading = {.total = *reading,
                              .last = parseTokenReading(info["last_token_usage"])};
    }
    usage.hasTokenEvents = true;
    countUp(usage.tokenEventCount);
    const TokenBreakdown before = std::exchange(usage.lastTokenUsage, *reading);
    const TokenBreakdown growth = reading->delta(before);
    if (growth.isZero()) {
        trace(usage, before, nullptr, root);
        return true;
    }
    usage.deltas.push_back({.date = *date, .tokens = growth, .model = usage.lastModel});
    trace(usage, before, &usage.deltas.back(), root);
    return true;
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

bool mayBeRelevant(std::string_view bytes) {
    return holdsNeedle(bytes) && bytes.find(typeNeedle) != std::string_view::npos;
}

std::optional<TokenBreakdown> parseTokenReading(JsonView usage) {
    if (!usage.isObject()) return std::nullopt;
    const auto input = int64Value(usage["input_tokens"]);
    const auto cached = int64Value(usage["cached_input_tokens"]);
    const auto output = int64Value(usage["output_tokens"]);
    const auto total = int64Value(usage["total_tokens"]);
    if (!input || !cached || !output || !total) return std::nullopt;
    const TokenBreakdown reading{
        .inputTokens = *input,
        .cachedInputTokens = *cached,
        .outputTokens = *output,
        .reasoningOutputTokens = int64Value(usage["reasoning_output_tokens"]).value_or(0),
        .totalTokens = *total};
    std::int64_t sum = 0;
    if (reading.hasNegativeValue() || reading.inputTokens < reading.cachedInputTokens ||
        reading.outputTokens < reading.reasoningOutputTokens ||
        __builtin_add_overflow(*input, *output, &sum) || sum != *total) {
        return std::nullopt;
    }
    return reading;
}

bool processSessionLine(std::string_view line, ParsedSessionUsage& usage, JsonParser& parser) {
    if (!mayBeRelevant(line)) return true;
    const auto root = parser.parsePadded(line);
    if (!root || !root->isObject()) return false;
    const JsonView payload = (*root)["payload"];
    if ((*root)["type"].text() == "turn_context") {
        if (!payload.isObject()) return false;
        usage.lastModel = LocalModelUsageAccumulator::normalizedModel(payload["model"].text());
        return true;
    }
    const auto kind = payload["type"].text();
    if (kind == "token_count") return processTokenEvent(*root, payload, usage);
    if (kind == "function_call" || kind == "custom_tool_call") {
        processToolCall(*root, line, usage);
    }
    return true;
}

}  // namespace CodexUsageReader

SessionUsageEventTimePolicy::AcceptedDeltas SessionUsageEventTimePolicy::acceptedDeltas(
    std::vector<SessionUsageDelta> deltas, std::optional<Date> now) {
    AcceptedDeltas accepted{.deltas = std::move(deltas)};
    if (!now) return accepted;
    const auto rejected =
        std::erase_if(accepted.deltas, [&](const auto& delta) { return !(delta.date <= *now); });
    accepted.rejectedCount = static_cast<std::int64_t>(rejected);
    return accepted;
}

Date SessionUsageEventCutoffPolicy::cutoff(const Scan& scan, const StatisticsContext& statistics) {
    const bool isWanted =
        scan.acceptsEventsWrittenDuringLoad && scan.scanCompletedAt >= scan.refreshStartedAt &&
        statistics.dayKey(scan.scanCompletedAt) == statistics.dayKey(scan.refreshStartedAt);
    return isWanted ? scan.scanCompletedAt : scan.refreshStartedAt;
}

}  // namespace vantry
