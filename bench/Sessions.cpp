#include <algorithm>
#include <benchmark/benchmark.h>
#include <chrono>
#include <vector>

#include "SimplestClient.h"
#include "io/BoundedProcessRunner.h"
#include "official/AppServerSession.h"

namespace vantry::bench {

namespace {

bool sessionResponds() {
    const AppServerRead read =
        CodexUsageReader::readAppServer({.executablePath = VANTRY_BENCH_CODEX});
    return read.snapshot.readState == AppServerReadState::responded;
}

bool simplestClientResponds() {
    return holdSimplestConversation(VANTRY_BENCH_CODEX) > 0;
}

void BM_AppServerSession(benchmark::State& state) {
    for (auto _ : state) {
        if (!sessionResponds()) return state.SkipWithError("the session failed");
    }
}
BENCHMARK(BM_AppServerSession)->UseRealTime()->Unit(benchmark::kMicrosecond);

void BM_SimplestClient(benchmark::State& state) {
    for (auto _ : state) {
        if (!simplestClientResponds()) return state.SkipWithError("the conversation failed");
    }
}
BENCHMARK(BM_SimplestClient)->UseRealTime()->Unit(benchmark::kMicrosecond);

double microseconds(bool (*work)()) {
    const auto start = std::chrono::steady_clock::now();
    const bool succeeded = work();
    const auto time = std::chrono::steady_clock::now() - start;
    return succeeded ? std::chrono::duration<double, std::micro>(time).count() : 0;
}

double median(std::vector<double> values) {
    std::ranges::sort(values);
    return values.at(values.size() / 2);
}

/// Both in turn, so that what else the machine does at the time meets both alike.
void BM_SessionAgainstSimplestClient(benchmark::State& state) {
    std::vector<double> session;
    std::vector<double> simplest;
    for (auto _ : state) {
        session.push_back(microseconds(sessionResponds));
        simplest.push_back(microseconds(simplestClientResponds));
    }
    state.counters["session_us"] = median(session);
    state.counters["simplest_us"] = median(simplest);
    state.counters["ratio"] = median(session) / median(simplest);
}
BENCHMARK(BM_SessionAgainstSimplestClient)
    ->UseRealTime()
    ->Unit(benchmark::kMicrosecond)
    ->Iterations(1000);

void BM_ProcessRunner(benchmark::State& state) {
    for (auto _ : state) {
        const BoundedProcessResult result =
            BoundedProcessRunner::run({.executableURL = VANTRY_BENCH_CODEX,
                                       .timeout = 5,
                                       .maxOutputBytes = 1024});  // its input ends at once
        if (result.kind != BoundedProcessResult::Kind::success) {
            return state.SkipWithError("the program failed");
        }
    }
}
BENCHMARK(BM_ProcessRunner)->UseRealTime()->Unit(benchmark::kMicrosecond);

}  // namespace

}  // namespace vantry::bench
