#include "diagnostics/ReaderPerformanceTrace.h"

#include <cstdio>
#include <fmt/format.h>

#include "platform/Environment.h"

namespace vantry {

namespace {

bool profilingIsEnabled() {
    static const bool enabled = processEnvironment("VANTRY_PROFILE_READER") == "1";
    return enabled;
}

void emit(std::string_view label, std::chrono::steady_clock::duration time) {
    const double milliseconds = std::chrono::duration<double, std::milli>(time).count();
    std::fputs(fmt::format("reader-profile {} {:.1f} ms\n", label, milliseconds).c_str(), stderr);
}

}  // namespace

ReaderPerformanceTrace::ReaderPerformanceTrace() : enabled_(profilingIsEnabled()) {
    if (enabled_) started_ = previous_ = Clock::now();
}

void ReaderPerformanceTrace::checkpoint(std::string_view label) {
    if (!enabled_) return;
    const Clock::time_point now = Clock::now();
    emit(label, now - previous_);
    previous_ = now;
}

void ReaderPerformanceTrace::finish(std::string_view label) const {
    if (enabled_) emit(label, Clock::now() - started_);
}

}  // namespace vantry
