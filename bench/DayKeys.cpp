#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "statistics/StatisticsContext.h"

namespace vantry::bench {

namespace {

// 25,000 events of March 2026, in no order. New York changes its clocks on the 8th.
std::vector<Date> eventsOfAMonth() {
    constexpr int count = 25'000;
    constexpr double firstOfMarch = 1'772'323'200;
    std::vector<Date> events;
    events.reserve(count);
    for (int i = 0; i < count; ++i) events.emplace_back(firstOfMarch + i * (31 * 86'400.0 / count));
    std::ranges::shuffle(events, std::mt19937(1));
    return events;
}

StatisticsContext contextOf(const char* zone) {
    return StatisticsContext({.selection = StatisticsTimeZoneSelection::system},
                             Date(1'774'000'000), TimeZone::named(zone).value_or(TimeZone::utc()));
}

void BM_DayKeys25000(benchmark::State& state, const char* zone) {
    const std::vector<Date> events = eventsOfAMonth();
    const StatisticsContext context = contextOf(zone);
    for (auto _ : state) {
        const Calendar calendar = context.calendar();
        for (const Date event : events) benchmark::DoNotOptimize(localDayKey(event, calendar));
    }
}
BENCHMARK_CAPTURE(BM_DayKeys25000, utc, "UTC")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_DayKeys25000, newYork, "America/New_York")->Unit(benchmark::kMillisecond);

/// The careless way: the context is asked for each event.
void BM_DayKeyGrouping25000(benchmark::State& state) {
    const std::vector<Date> events = eventsOfAMonth();
    const StatisticsContext context = contextOf("America/New_York");
    for (auto _ : state) {
        std::map<std::string, std::int64_t> groups;
        for (const Date event : events) ++groups[context.dayKey(event)];
        state.counters["days"] = static_cast<double>(groups.size());
    }
}
BENCHMARK(BM_DayKeyGrouping25000)->Unit(benchmark::kMillisecond);

}  // namespace

}  // namespace vantry::bench
