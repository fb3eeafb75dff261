// Feeds the bytes, line by line, to the reader of session logs, and holds the result to its rules.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "local/log/SessionLineParser.h"

using namespace vantry;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string text(reinterpret_cast<const char*>(data), size);
    text.append(JsonParser::padding, '\0');
    std::string_view rest(text.data(), size);
    ParsedSessionUsage usage;
    JsonParser parser;
    while (!rest.empty()) {
        const std::size_t end = std::min(rest.find('\n'), rest.size());
        if (CodexUsageReader::processSessionLine(rest.substr(0, end), usage, parser) ==
            CodexUsageReader::SessionLineOutcome::invalid) {
            return 0;
        }
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    if (usage.trail.ordinals.size() != usage.deltas.size()) std::abort();
    for (const SessionUsageDelta& delta : usage.deltas) {
        if (delta.tokens.hasNegativeValue() || delta.tokens.isZero() ||
            delta.tokens.splitTotalTokens() != delta.tokens.totalTokens) {
            std::abort();
        }
    }
    return 0;
}
