#pragma once

#include "presentation/words/Language.h"

/// The words of the popover itself.
namespace vantry::PopoverWords {

inline constexpr BilingualText notEnoughSpace{
    .zh = "屏幕空间不足。请打开 Vantry 查看全部指标。",
    .en = "Not enough screen space. Open Vantry to see all metrics."};
inline constexpr BilingualText openVantry{.zh = "打开 Vantry", .en = "Open Vantry"};
/// The runtime's name.
inline constexpr BilingualText open{.zh = "打开 {}", .en = "Open {}"};
inline constexpr BilingualText dashboard{.zh = "仪表板", .en = "Dashboard"};
inline constexpr BilingualText settings{.zh = "设置", .en = "Settings"};
inline constexpr BilingualText quit{.zh = "退出", .en = "Quit"};
inline constexpr BilingualText dismissRecovery{.zh = "关闭提醒", .en = "Dismiss notification"};

}  // namespace vantry::PopoverWords
