
#include "local/SessionLineParser.h"
#include "local/ThreadIndex.h"
#include "platform/Iso8601.h"
#include "selftests/Suites.h"
#include "selftests/support/SelfTest.h"
#include "statistics/LocalModelUsageAccumulator.h"
#include "statistics/ModelTokenPrice.h"
#include "statistics/TokenFormatter.h"

namespace vantry::CodexUsageReader {

namespace {

/// A log that is read line by line.
struct Log {
    bool add(std::string line) {
        const std::size_t size = line.size();
        line.append(JsonParser::padding, ' ');
        return processSessionLine(std::string_view(line).substr(0, size), usage, parser);
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
                    log.usage.trail.ordinals == std::vector<std::int64_t>{9, 9, 9} &&
                    log.usage.trail.corrections.size() == 2 &&
                    log.usage.trail.corrections[1].total.totalTokens == 40,
                "the trail tells the readings that the deltas do not");
}

void checkLines(SelfTest& test) {
    using Case = std::tuple<std::string, bool>;
    const std::string big = "9223372036854775807";
    const Case cases[] = {
        {R"({"payload":{"type":"message","body":{"type" : "token_count"}}})", true},
        {R"(no json at all)", true},
        {R"({"type":"event_msg","payload":{"type":"token_count")", false},
        {R"({"type":"turn_context","payload":123})", false},
        {R"(["type","token_count"])", false},
        {R"({"payload":"\"type\" \"token_count\""})", true},
        {R"({"payload":{"type":"token_count","info":{}}})", false},
        {R"({"payload":{"type":"token_count"}})", false},
        {R"({"payload":{"type":"token_count","info":null,"rate_limits":{"a":1}}})", true},
        {R"({"payload":{"type":"token_count","info":null,"rate_limits":{}}})", false},
        {R"({"payload":{"type":"token_count","info":null}})", false},
        {event(usageOf(1, 0, 1, 0), "yesterday"), false},
        {event(usageOf(1, 0, 1, 0), "2026-07-17T08:01:00+08:00"), true},
        {event(usageOf(1, 2, 1, 0)), false},
        {event(usageOf(1, 0, 1, 2)), false},
        {event(usageOf(-1, 0, 1, 0)), false},
        {event(R"({"input_tokens":1,"cached_input_tokens":0,"output_tokens":1,"total_tokens":3})"),
         false},
        {event(
             R"({"input_tokens":true,"cached_input_tokens":0,"output_tokens":1,"total_tokens":2})"),
         false},
        {event(R"({"input_tokens":)" + big + R"(,"cached_input_tokens":0,"output_tokens":)" + big +
               R"(,"total_tokens":-2})"),
         false},
        {event(
             R"({"input_tokens":"1","cached_input_tokens":0,"output_tokens":1.0,"total_tokens":2})"),
         true},
    };
    for (const auto& [line, isFine] : cases) {
        Log log;
        test.expect(log.add(line) == isFine, line);
    }
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
        {{.date = now - 1}, {.date = now + 0.001}, {.date = now}}, now);
    test.expect(accepted.deltas.size() == 2 && accepted.rejectedCount == 1,
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
         R"({"id":"","rolloutPath":"/a","cwd":"","updatedAt":1,"model":null,"threadSource":null})",
         R"({"id":"a","rolloutPath":"/a","cwd":null,"updatedAt":1,"model":null,"threadSource":null})",
         R"({"id":"a","rolloutPath":"/a","cwd":"","updatedAt":null,"model":null,"threadSource":null})",
         R"({"id":"a","rolloutPath":"/a","cwd":"","updatedAt":1,"model":7,"threadSource":null})",
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
        {-999, "-999"},
        {1'000, "1.0K"},
        {999'949, "999.9K"},
        {999'950, "1.0M"},
        {999'950'000, "1.0B"},
        {-1'200'000, "-1.2M"},
        {1'234'567'890, "1.2B"},
        {INT64_MIN, "-9223372036.9B"}};
    for (const auto& [tokens, text] : forms) {
        test.expect(TokenFormatter::format(tokens) == text, text);
    }
}

}  // namespace

bool runModelUsageParsingSelfTest() {
    return SelfTest::run("model usage parser", {checkCounter, checkLines, checkContext, checkTimes,
                                                checkIndex, checkPrices});
}

}  // namespace vantry::CodexUsageReader
