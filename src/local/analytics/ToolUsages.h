#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "records/LocalUsage.h"

namespace vantry {

/// The calls of one tool.
struct ToolUsageAccumulator {
    std::string name;
    std::int64_t callCount = 0;

    void add(std::int64_t calls);
};

template <>
struct RecordFields<ToolUsageAccumulator> {
    static constexpr std::tuple list{field("name", &ToolUsageAccumulator::name),
                                     field("callCount", &ToolUsageAccumulator::callCount)};
};

namespace CodexUsageReader {

/// What kind of work a tool does, by words in its name: "terminal", "edit", "browser", "visual",
/// "docs", "planning", or "tool" for any other.
std::string toolCategory(std::string_view name);

/// The rows, most calls first, equals by name. A log does not tell the tokens or the cost of a
/// call, so they are absent.
std::vector<ToolUsage> makeToolUsages(const std::map<std::string, ToolUsageAccumulator>& tools);

}  // namespace CodexUsageReader

}  // namespace vantry
