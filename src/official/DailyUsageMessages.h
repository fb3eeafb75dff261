#pragma once

#include <string_view>

/// What is said of an official history that was not read. Later decisions look for these very
/// texts among a snapshot's messages.
namespace vantry::QuotaRefreshFallbackPolicy {

inline constexpr std::string_view staleDailyUsageMessage =
    "Codex 官方日统计暂时不可用，显示上次完整历史";

inline constexpr std::string_view unavailableDailyUsageMessage =
    "Codex 官方历史日桶暂不可用，近 7 天、月度与历史趋势暂不可用";

}  // namespace vantry::QuotaRefreshFallbackPolicy
