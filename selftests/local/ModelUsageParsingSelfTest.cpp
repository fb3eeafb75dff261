
#include "local/index/ThreadIndex.h"
#include "local/log/SessionLineFinder.h"
#include "local/log/SessionLineParser.h"
#include "platform/Iso8601.h"
#include "presentation/format/TokenFormatter.h"
#include "selftests/Suites.h"
#include "selftests/support/SelfTest.h"
#include "statistics/LocalModelUsageAccumulator.h"
#include "statistics/ModelTokenPrice.h"

namespace vantry::CodexUsageReader {

namespace {

/// A log that is read line by line.
struct Log {
    SessionLineOutcome take(std::string line) {
        const std::size_t size = line.size();
        line.append(JsonParser::padding, ' ');
        return processSessionLine(std::string_view(line).substr(0, size), usage, parser);
    }
    bool add(const std::string& line) { return take(line) == SessionLineOutcome::taken; }

    /// What counts, in order: totals, with "r" before those of records and "c" before copied ones.
    std::string counted() const {
        std::string text;
        for (const SessionUsageDelta& delta : usage.deltas) {
            text += delta.recordThread ? " c" : delta.isRecord() ? " r" : " ";
            text += std::to_string(delta.tokens.totalTokens);
        }
        return text;
    }

    ParsedSessionUsage usage;
    JsonParser parser;
};

std::string usageOf(int input, int cached, int output, int reasoning) {
    return R"({"input_tokens":)" + std::to_string(input) + R"(,"cached_input_tokens":)" +
           std::to_string(cached) + R"(,"output_tokens":)" + std::to_string(output) +
           R"(,"reasoning_output_tokens":)" + std::to_string(reasoning) + R"(,"total_tokens":)" +
           std::to_string(input + output) + "}";
}

std::string event(const std::string& usage, const char* time = "2026-07-17T00:01:00.250Z") {
    return R"({"timestamp":")" + std::string(time) +
           R"(","ordinal":9,"payload":{"type" : "token_count","info":{"total_token_usage":)" +
           usage + "}}}";
}

void checkCounter(SelfTest& test) {
    Log log;
    test.expect(log.add(event(usageOf(90, 50, 10, 5))) && log.add(event(usageOf(90, 50, 10, 5))) &&
                    log.add(event(usageOf(95, 45, 15, 5))) && log.add(event(usageOf(30, 0, 10, 0))),
                "events are read");
    const auto& deltas = log.usage.deltas;
    test.expect(deltas.size() == 3 && log.usage.tokenEventCount == 4 &&
                    deltas[0].tokens.totalTokens == 100 &&
                    deltas[0].date == iso8601Date("2026-07-17T00:01:00.25Z"),
                "the first event counts whole, a repeated one adds nothing but is an event");
    test.expect(
        deltas[1].tokens == TokenBreakdown{.inputTokens = 5, .outputTokens = 5, .totalTokens = 10},
        "a part that shrank is limited, and input + output is still the total");
    test.expect(deltas[2].tokens ==
                        TokenBreakdown{.inputTokens = 30, .outputTokens = 10, .totalTokens = 40} &&
                    log.usage.lastTokenUsage.totalTokens == 40,
                "a smaller total is a counter that started anew");
    test.expect(log.usage.firstReading->total.totalTokens == 100 && !log.usage.firstReading->last &&
                    log.usage.firstReading->deltaIndex == 0 &&
                    log.usage.trail.ordinals == std::vector<std::int64_t>{9, 9, 9} &&
                    log.usage.trail.corrections.size() == 2 &&
                    log.usage.trail.corrections[1].total.totalTokens == 40,
                "the trail tells the readings that the deltas do not");
}

void checkFinding(SelfTest& test) {
    const std::string far(70, ' ');  // longer than what is looked at in one step
    const std::tuple<std::string, bool> cases[] = {
        {far + R"({"type":"token_count"})", true},
        {R"("type")" + far + R"(:"token_usage_record")", true},
        {R"("type"type" : "function_call")", true},
        {R"({"type":"message","payload":{"type":"custom_tool_call")", true},
        {std::string(1, '\0') + "\"type\"\t:\r\"turn_context\"", true},
        {R"("\"type\":\"token_count\"")" + far, false},
        {R"("type":"token_counts")" + far, false},
        {R"("type" "token_count")" + far, false},
        {R"("type":"token_count)", false},
    };
    std::string text;
    std::vector<std::string> expected;
    for (const auto& [line, isRelevant] : cases) {
        test.expect(mayBeRelevant(line) == isRelevant, line.c_str());
        text += line + "\n";
        if (isRelevant) expected.push_back(line);
    }
    std::vector<std::string> found;
    std::string_view lines = text;
    while (const auto line = takeRelevantLine(lines)) found.emplace_back(*line);
    test.expect(found == expected, "only such lines are handed over, whole");
    test.expect(
        bytesOfLinesWithin("12\n123\n1234\n1\n", 3) == 7 && bytesOfLinesWithin("12\n123\n", 3) == 7,
        "lines up to the one that is too long");
}

void checkLines(SelfTest& test) {
    using Case = std::tuple<std::string, SessionLineOutcome>;
    constexpr auto fine = SessionLineOutcome::taken;
    constexpr auto unreadable = SessionLineOutcome::unreadable;
    constexpr auto invalid = SessionLineOutcome::invalid;
    const std::string big = "9223372036854775807";
    const Case cases[] = {
        {R"({"payload":{"type":"message","body":{"type" : "token_count"}}})", fine},
        {R"(no json at all)", fine},
        {R"({"type":"event_msg","payload":{"type":"token_count")", unreadable},
        {R"({"type":"turn_context","payload":123})", invalid},
        {R"([{"type":"token_count"}])", invalid},
        {R"({"payload":"\"type\" \"token_count\""})", fine},
        {R"({"payload":{"type":"token_count","info":{}}})", invalid},
        {R"({"payload":{"type":"token_count"}})", invalid},
        {R"({"payload":{"type":"token_count","info":null,"rate_limits":{"a":1}}})", fine},
        {R"({"payload":{"type":"token_count","info":null,"rate_limits":{}}})", invalid},
        {R"({"payload":{"type":"token_count","info":null}})", invalid},
        {event(usageOf(1, 0, 1, 0), "yesterday"), invalid},
        {event(usageOf(1, 0, 1, 0), "2026-07-17T08:01:00+08:00"), fine},
        {event(usageOf(1, 2, 1, 0)), invalid},
        {event(usageOf(1, 0, 1, 2)), invalid},
        {event(usageOf(-1, 0, 1, 0)), invalid},
        {event(R"({"input_tokens":1,"cached_input_tokens":0,"output_tokens":1,"total_tokens":3})"),
         fine},
        {event(
             R"({"input_tokens":true,"cached_input_tokens":0,"output_tokens":1,"total_tokens":2})"),
         invalid},
        {event(R"({"input_tokens":)" + big + R"(,"cached_input_tokens":0,"output_tokens":)" + big +
               R"(,"total_tokens":-2})"),
         invalid},
        {event(
             R"({"input_tokens":"1","cached_input_tokens":0,"output_tokens":1.0,"total_tokens":2})"),
         fine},
    };
    for (const auto& [line, outcome] : cases) {
        Log log;
        test.expect(log.take(line) == outcome, line);
    }
}

std::string record(int number, int input, const char* thread = "me") {
    const std::string usage = usageOf(input, 0, 0, 0);
    return R"({"timestamp":"2026-07-17T00:01:00Z","type":"token_usage_record","payload":{"thread_id":")" +
           std::string(thread) + R"(","turn_id":"t","response_id":"r)" + std::to_string(number) +
           R"(","usage":)" + usage + R"(,"turn_token_usage":)" + usage + "}}";
}

// What a request used counts by its record, and by the counter where it left none.
void checkRecords(SelfTest& test) {
    const auto reading = [](int total) { return event(usageOf(total, 0, 0, 0)); };
    const std::string overflow = event(
        R"({"input_tokens":0,"cached_input_tokens":0,"output_tokens":0,"total_tokens":258400})");
    const std::string later = event(
        R"({"input_tokens":7,"cached_input_tokens":0,"output_tokens":0,"total_tokens":258407})");
    using Lines = std::vector<std::string>;
    struct Case {
        const char* what;
        Lines lines;
        const char* counted;
        int disagreeing = 0;
    };
    const Case cases[] = {
        {"a record before its reading",
         {record(1, 5), reading(5), record(2, 3), reading(8)},
         " r5 r3"},
        {"an older build went on",
         {record(1, 5), reading(5), reading(9), record(2, 3), reading(12)},
         " r5 4 r3"},
        {"a log that goes on from another", {record(1, 5), reading(905), reading(909)}, " r5 4", 1},
        {"a torn reading", {record(1, 5), record(2, 3), reading(3)}, " r5 r3"},
        {"a torn reading and an older build",
         {reading(9), record(1, 5), reading(9), reading(12)},
         " 9 r5 3"},
        {"a reading that comes late", {reading(9), record(1, 5), reading(9), reading(14)}, " 9 r5"},
        {"the record wins", {record(1, 5), reading(5), record(2, 3), reading(9)}, " r5 r3", 1},
        {"a copied record",
         {record(1, 5, "parent"), reading(5), record(2, 3), reading(8)},
         " c5 r3"},
        {"a record without a use", {record(1, -5), reading(5)}, " 5"},
        {"an overflow costs nothing", {reading(100), overflow, overflow, later, later}, " 100 7"},
        {"nor with records", {record(1, 9), reading(9), overflow, record(2, 7), later}, " r9 r7"}};
    for (const Case& each : cases) {
        Log log{.usage = {.threadId = "me"}};
        for (const std::string& line : each.lines) log.add(line);
        test.expect(
            log.counted() == each.counted && log.usage.lines.disagreeing == each.disagreeing,
            std::string(each.what) + log.counted());
    }
    Log log{.usage = {.threadId = "me"}};
    for (const auto& line : {record(1, 5), record(1, 5, "other"), record(2, 5), record(1, 6)})
        log.add(line);
    const auto& deltas = log.usage.deltas;
    test.expect(deltas[0].recordKey == deltas[1].recordKey &&
                    deltas[0].recordKey != deltas[2].recordKey &&
                    deltas[0].recordKey != deltas[3].recordKey,
                "a request is known by its id and its use, whatever log it stands in");
    SessionLineCounts lines{.relevant = 1'100, .unreadable = 11};
    test.expect(!lines.isNoLog() && !SessionLineCounts{.relevant = 9, .unreadable = 9}.isNoLog() &&
                    SessionLineCounts{.relevant = 999, .unreadable = 10}.isNoLog(),
                "a hundredth of the lines may be unreadable, and always nine");
}

void checkContext(SelfTest& test) {
    Log log;
    const auto model = [&](const std::string& name) {
        log.add(R"({"type":"turn_context","payload":{"model":)" + name + "}}");
    };
    model(R"(" gpt-5.4 ")");
    log.add(event(usageOf(1, 0, 0, 0)));
    model(R"("/Users/private/model")");
    log.add(event(usageOf(2, 0, 0, 0)));
    test.expect(log.usage.deltas[0].model == "gpt-5.4" && !log.usage.deltas[1].model,
                "未识别模型被当前模型替代");

    log.add(R"({"payload":{"type" : "custom_tool_call","name":"apply_patch"}})");
    log.add(
        R"({"timestamp":"never","payload":{"type":"function_call","name":"apply_patch","call_id":" c1 "}})");
    log.add(R"({"payload":{"type":"function_call","name":"shell","call_id":"  "}})");
    log.add(R"({"payload":{"type":"function_call","name":"","call_id":"c2"}})");
    log.add(R"({"payload":{"type":"function_call_output","name":"shell"}})");
    SessionToolCallProofs expectedProofs;
    expectedProofs.add({"c1", "apply_patch", "function_call"});
    test.expect(log.usage.toolCalls ==
                        std::map<std::string, std::int64_t>{{"apply_patch", 2}, {"shell", 1}} &&
                    log.usage.toolCallProofs == expectedProofs,
                "a call without a name counts nothing, one without an id has no identity");
    for (const std::string& bad : {std::string(129, 'a'), std::string("a\xC2\x81z")}) {
        test.expect(!LocalModelUsageAccumulator::normalizedModel(bad), "模型归因不保留路径");
    }
}

void checkTimes(SelfTest& test) {
    test.expect(iso8601Date("2026-07-17T00:01:00Z") == Date(1'784'246'460) &&
                    iso8601Date("2026-07-17T00:01:00.5-01:30") == Date(1'784'251'860.5) &&
                    iso8601Date("2024-02-29T23:59:59+0000") == Date(1'709'251'199),
                "dates are read in both forms, with any offset");
    for (const char* bad :
         {"", "2026-07-17", "2026-07-17T00:01:00", "2026-02-30T00:00:00Z", "2026-07-17T24:00:00Z",
          "2026-07-17T00:01:00.Z", "2026-07-17T00:01:00Zx", "2026-07-17 00:01:00Z",
          "2026-07-17T00:01:00+25:00"}) {
        test.expect(!iso8601Date(bad), std::string("no date: ") + bad);
    }
    const Date now(1'800'000'000);
    const auto accepted = SessionUsageEventTimePolicy::acceptedDeltas(
        {{.date = now - 1}, {.date = now + 0.001}, {.date = now}, {.date = now + 86'401}}, now);
    test.expect(
        accepted.deltas.size() == 2 && accepted.rejectedCount == 2 && accepted.setAsideCount == 1,
        "the future is left out");
    const StatisticsContext utc({.selection = StatisticsTimeZoneSelection::utc}, now,
                                TimeZone::utc());
    const auto cutoff = [&](double later, bool accepts) {
        return SessionUsageEventCutoffPolicy::cutoff({.refreshStartedAt = now,
                                                      .scanCompletedAt = now + later,
                                                      .acceptsEventsWrittenDuringLoad = accepts},
                                                     utc);
    };
    test.expect(cutoff(9, true) == now + 9 && cutoff(9, false) == now && cutoff(-9, true) == now &&
                    cutoff(86'400, true) == now,
                "events written meanwhile count where they are wanted, and on the same day");
}

void checkIndex(SelfTest& test) {
    const auto sources = [](const std::string& rows) {
        return parseSessionUsageSources(JsonDocument::parse("[" + rows + "]")->root());
    };
    const auto row = [](const std::string& id, const std::string& rest) {
        return R"({"id":")" + id + R"(","rolloutPath":"/)" + id +
               R"(","cwd":"","updatedAt":1752681600,"model":null,"threadSource":null)" + rest + "}";
    };
    const auto good =
        sources(row("a", R"(,"name":"Title","title":"# prompt")") + "," + row("a", "") + "," +
                row("g", R"(,"sourceMetadata":"{\"subagent\":{\"other\":\"guardian\"}}")"));
    test.expect(good && good->size() == 2 && (*good)[0].title == "Title" &&
                    !(*good)[0].isSubagent && (*good)[1].isSubagent &&
                    (*good)[1].allowsMissingParentLineage,
                "rows become threads; a log belongs to one");
    using Case = std::tuple<const char*, const char*, bool>;
    for (const auto& [threadSource, source, isSubagent] :
         {Case{R"("subagent")", "null", true}, Case{R"("subagent")", R"("vscode")", false},
          Case{R"("vscode")", R"("vscode")", false},
          Case{R"("{\"subagent\":{\"thread_spawn\":{}}}")", "null", true}}) {
        const auto one = sources(
            R"({"id":"a","rolloutPath":"/a","cwd":"","updatedAt":1,"model":null,"threadSource":)" +
            std::string(threadSource) + R"(,"sourceMetadata":)" + source + "}");
        test.expect(one && one->at(0).isSubagent == isSubagent, threadSource);
    }
    for (
        const char* bad :
        {R"({})",
         R"({"id":"a","rolloutPath":"/a","cwd":null,"updatedAt":1,"model":null,"threadSource":null})",
         R"({"id":"a","rolloutPath":"/a","cwd":"","updatedAt":null,"model":null,"threadSource":null})",
         R"({"id":"a","rolloutPath":"/a","cwd":"","updatedAt":1,"model":null})"}) {
        test.expect(!sources(row("b", "") + "," + bad), "one bad row refuses the batch");
    }
    const auto totals = [](const char* json) {
        return parseSQLiteLocalTotals(JsonDocument::parse(json)->root());
    };
    test.expect(totals(R"([{"threadCount":0,"lastUpdatedAt":0}])") == SQLiteLocalTotals{} &&
                    totals(R"([{"threadCount":2,"lastUpdatedAt":10000000001}])")->lastUpdatedAt ==
                        Date(10'000'000.001) &&
                    totals(R"([{"threadCount":2,"lastUpdatedAt":10000000000}])")->lastUpdatedAt ==
                        Date(1e10),
                "totals, with times in seconds and in milliseconds");
    for (const char* bad : {"[]", R"([{"threadCount":0,"lastUpdatedAt":1}])",
                            R"([{"threadCount":1,"lastUpdatedAt":0}])",
                            R"([{"threadCount":-1,"lastUpdatedAt":1}])"}) {
        test.expect(!totals(bad), bad);
    }
}

void checkPrices(SelfTest& test) {
    using Case = std::tuple<const char*, ModelTokenPrice>;
    for (const auto& [model, price] :
         {Case{"gpt-5.5-pro-x", {30, 30, 180}}, Case{"Chat-Latest", {5, 0.5, 30}},
          Case{"gpt-5.4-nano", {0.2, 0.02, 1.25}}, Case{"gpt-5.4", {2.5, 0.25, 15}},
          Case{"gpt-5.3-chat-latest", {1.75, 0.175, 14}},
          Case{"gpt-5-codex-mini", {1.25, 0.125, 10}}, Case{"gpt-5", {1.25, 0.125, 10}},
          Case{"gpt-5-other", {5, 0.5, 30}}, Case{"", {5, 0.5, 30}}}) {
        test.expect(tokenPrice(model) == price, model);
    }
    test.expect(estimatedCostUSD({.inputTokens = 1'000'000,
                                  .cachedInputTokens = 400'000,
                                  .outputTokens = 100'000,
                                  .reasoningOutputTokens = 90'000},
                                 tokenPrice("gpt-5.4")) == 1.5 + 0.1 + 1.5,
                "cached input has its own price, reasoning none");
    const std::pair<std::optional<std::int64_t>, const char*> forms[] = {
        {{}, "--"},
        {999, "999"},
        {999'950, "1.0M"},
        {999'950'000, "1.0B"},
        {1'234'567'890, "1.2B"},
        {INT64_MIN, "-9223372036.9B"}};
    for (const auto& [tokens, text] : forms) {
        test.expect(TokenFormatter::format(tokens) == text, text);
    }
}

}  // namespace

bool runModelUsageParsingSelfTest() {
    return SelfTest::run("model usage parser",
                         {checkCounter, checkFinding, checkLines, checkRecords, checkContext,
                          checkTimes, checkIndex, checkPrices});
}

}  // namespace vantry::CodexUsageReader
