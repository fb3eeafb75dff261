#include <benchmark/benchmark.h>
#include <sstream>
#include <string>

#include "headless/JsonDump.h"

namespace vantry::bench {

namespace {

/// A read with half a year of official days.
MultiRuntimeUsageSnapshot wholeRead() {
    const Date now(1'774'000'000);
    UsageSnapshot snapshot{
        .refreshedAt = now,
        .account = AccountInfo{.type = "chatgpt", .planType = "plus", .emailPresent = true},
        .accountIdentity = "codex-account:" + std::string(64, 'a'),
        .primary = RateWindow{.usedPercent = 23, .windowDurationMins = 300, .resetsAt = now + 60},
        .secondary =
            RateWindow{.usedPercent = 40, .windowDurationMins = 10'080, .resetsAt = now + 600},
        .credits = CreditsInfo{.balance = "12.50", .resetCredits = 2},
        .cloudDailyBuckets = std::vector<DailyTokenBucket>(180)};
    RuntimeUsageSnapshot runtime{.scope = RuntimeScope::codex, .snapshot = snapshot};
    return {.refreshedAt = now, .runtimes = {runtime}, .aggregate = std::move(snapshot)};
}

void BM_JsonDump(benchmark::State& state) {
    const MultiRuntimeUsageSnapshot read = wholeRead();
    std::size_t size = 0;
    for (auto _ : state) {
        std::ostringstream output;
        dumpJSON(read, output);
        size = output.str().size();
        benchmark::DoNotOptimize(size);
    }
    if (size == 0) state.SkipWithError("nothing was written");
    state.counters["bytes"] = static_cast<double>(size);
}
BENCHMARK(BM_JsonDump)->Unit(benchmark::kMicrosecond);

}  // namespace

}  // namespace vantry::bench
