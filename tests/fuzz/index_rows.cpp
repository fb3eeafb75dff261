// Feeds the bytes to the readers of the thread index, as what the database program printed.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "local/index/ThreadIndex.h"

using namespace vantry;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto document =
        JsonDocument::parse(std::string_view(reinterpret_cast<const char*>(data), size));
    if (!document) return 0;
    const auto totals = CodexUsageReader::parseSQLiteLocalTotals(document->root());
    if (totals && totals->threadCount < 0) std::abort();
    const auto sources = CodexUsageReader::parseSessionUsageSources(document->root());
    if (!sources) return 0;
    for (const SessionUsageSource& source : *sources) {
        if (source.threadId.empty() || source.rolloutPath.empty() || !source.updatedAt) {
            std::abort();
        }
    }
    return 0;
}
