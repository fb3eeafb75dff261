#include "selftests/Suites.h"
#include "selftests/support/Moments.h"
#include "selftests/support/SelfTest.h"
#include "statistics/LocalModelUsageAccumulator.h"
#include "statistics/ModelUsageTrend.h"

namespace vantry::ModelUsageTrendSelfTest {

namespace {

constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max();
constexpr double day = 86'400;
const Date captured = at("2026-09-23T12:00:00Z");
const Date midnight = at("2026-09-22T16:00:00Z");  // of the capture day in Shanghai
const Date notFinite(std::numeric_limits<double>::infinity());

struct Event {
    std::int64_t tokens;
    std::optional<std::string> model;
    Date at = captured;
};

std::optional<LocalModelUsage> usageOf(const std::vector<Event>& events, Date capturedAt = captured,
                                       const char* zone = "Asia/Shanghai") {
    LocalModelUsageAccumulator accumulator(capturedAt, Calendar(*TimeZone::named(zone)));
    for (const Event& event : events) {
        accumulator.add({.tokens = event.tokens, .modelID = event.model, .at = event.at});
    }
    return accumulator.makeUsage();
}

void checkBuckets(SelfTest& test) {
    const Date first = midnight - 179 * day;
    const auto usage = usageOf({Event{1, "b", midnight}, Event{2, "b"}, Event{4, {}},
                                Event{8, "/Users/private/model"}, Event{16, " a\n"},
                                Event{32, "b", midnight - 0.001}, Event{64, "b", captured + 0.001},
                                Event{128, "b", first}, Event{256, "b", first - 0.001}});
    using Day = LocalModelDayUsage;
    const std::vector<Day> expected{Day{first, "b", 128}, Day{midnight - day, "b", 32},
                                    Day{midnight, "a", 16}, Day{midnight, "b", 3},
                                    Day{midnight, {}, 12}};
    test.expect(usage->buckets == expected && usage->timeZoneIdentifier == "Asia/Shanghai",
                "模型归因不保留路径, and days are natural days of the zone");
    test.expect(
        !usageOf({{5, "a"}, {-1, "a", captured + 60}}) && !usageOf({{-1, "a", Date(0)}, {5, "a"}}),
        "负数校验应先于未来/窗口过滤");
    test.expect(!usageOf({{5, "a"}, {1, "a", notFinite}}) &&
                    !usageOf({{5, "a"}, {1, "a", Date(std::nan(""))}}) &&
                    !usageOf({{5, "a"}}, notFinite),
                "a time that is not finite spoils the batch");
    test.expect(!usageOf({}) && !usageOf({{1, "a", captured + 1}}), "空批次不可伪造零用量");
    test.expect(!usageOf({{most, "a"}, {1, "a"}}) && usageOf({{most, "a"}, {1, "b"}}),
                "a sum that does not fit is unavailable");
}

void checkSeries(SelfTest& test) {
    std::vector<Event> events{{7, {}}, {0, "idle", captured - 2 * day}};
    for (int i = 1; i <= 9; ++i) events.push_back({i < 3 ? 10 : 100 - i, "m" + std::to_string(i)});
    const auto shown = trend(*usageOf(events), {.now = captured + 3 * day});
    std::string told;
    for (const ModelUsageSeries& series : shown->series) {
        told += series.id + "=" + std::to_string(series.totalTokens) + " ";
    }
    test.expect(told == "model:m3=97 model:m4=96 model:m5=95 model:m6=94 model:m7=93 model:m8=92 "
                        "model:m9=91 model:m1=10 other=10 unknown=7 " &&
                    shown->totalTokens == 685 && shown->unattributedTokens == 7 &&
                    shown->series[8].isOther,
                "eight series, the others and the unknown; equal models by id");
    const auto longIDs = usageOf({{1, std::string(128, 'm')}, {2, std::string(129, 'm')}})->buckets;
    test.expect(longIDs[0].modelID == std::string(128, 'm') && !longIDs[1].modelID,
                "an id has at most 128 bytes");
    const auto& tokens = shown->series[0].tokensByDay;
    test.expect(shown->days.size() == 30 && shown->days[29] == midnight && tokens[29] == 97 &&
                    tokens[27] == 0 && !tokens[28],
                "no record is absent, a record of others is zero; the days end with the capture's");
}

void checkFailures(SelfTest& test) {
    const auto isShown = [](auto change) {
        LocalModelUsage changed = *usageOf({{3, "a"}});
        change(changed);
        return trend(changed, {.now = captured}).has_value();
    };
    test.expect(isShown([](auto&) {}) && !trend(*usageOf({{3, "a"}}), {.now = notFinite}) &&
                    !isShown([](auto& usage) { usage.capturedAt = notFinite; }) &&
                    !isShown([](auto& usage) { usage.timeZoneIdentifier = "Invalid/Zone"; }) &&
                    !isShown([](auto& usage) { usage.buckets[0].tokens = -1; }),
                "an unusable batch shows nothing");
    const auto full = usageOf({{most, "a"}, {1, {}, captured - 31 * day}});
    test.expect(trend(*full, {.now = captured})->totalTokens == most &&
                    !trend(*full, {.range = ModelUsageRange::sixtyDays, .now = captured}),
                "only a sum over the days of the range can overflow");
}

}  // namespace

bool run() {
    return SelfTest::run("model usage trend", {checkBuckets, checkSeries, checkFailures});
}

}  // namespace vantry::ModelUsageTrendSelfTest
