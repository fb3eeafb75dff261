#include "local/analytics/ToolUsages.h"

#include <algorithm>
#include <initializer_list>

#include "platform/Text.h"
#include "records/TokenBreakdown.h"

namespace vantry {

void ToolUsageAccumulator::add(std::int64_t calls) {
    callCount = saturatingAdd(callCount, calls);
}

namespace CodexUsageReader {

std::string toolCategory(std::string_view name) {
    const std::string lower = asciiLowercased(name);
    const auto holdsOneOf = [&](std::initializer_list<std::string_view> words) {
        return std::ranges::any_of(
            words, [&](std::string_view word) { return lower.find(word) != std::string::npos; });
    };
    if (holdsOneOf({"exec", "shell", "stdin"})) return "terminal";
    if (holdsOneOf({"patch", "edit"})) return "edit";
    if (holdsOneOf({"web", "browser", "page", "click", "screenshot", "snapshot"})) return "browser";
    if (holdsOneOf({"image", "figma"})) return "visual";
    if (holdsOneOf({"docs", "library", "mcp", "resource"})) return "docs";
    if (holdsOneOf({"plan", "goal"})) return "planning";
    return "tool";
}

std::vector<ToolUsage> makeToolUsages(const std::map<std::string, ToolUsageAccumulator>& tools) {
    std::vector<ToolUsage> usages;
    usages.reserve(tools.size());
    for (const auto& [id, tool] : tools) {
        usages.push_back({.id = tool.name,
                          .name = tool.name,
                          .category = toolCategory(tool.name),
                          .callCount = tool.callCount});
    }
    std::ranges::sort(usages, [](const ToolUsage& a, const ToolUsage& b) {
        return a.callCount != b.callCount ? a.callCount > b.callCount : a.name < b.name;
    });
    return usages;
}

}  // namespace CodexUsageReader

}  // namespace vantry
