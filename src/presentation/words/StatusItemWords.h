#pragma once

#include "presentation/words/Language.h"

/// The words of the tray: its image, its tool tip and its menu.
namespace vantry::StatusItemWords {

inline constexpr BilingualText fiveHours{.zh = "5h", .en = "5h"};
inline constexpr BilingualText sevenDays{.zh = "7d", .en = "7d"};
inline constexpr BilingualText today{.zh = "今日", .en = "Today"};
inline constexpr BilingualText remaining{.zh = "剩余", .en = "remaining"};
inline constexpr BilingualText used{.zh = "已用", .en = "used"};
inline constexpr BilingualText unavailable{.zh = "不可用", .en = "unavailable"};
inline constexpr BilingualText todayTokens{.zh = "今日 token {}", .en = "today tokens {}"};
inline constexpr BilingualText noRecords{.zh = "暂无记录", .en = "no records"};
inline constexpr BilingualText hint{.zh = "点击查看 Runtime 用量菜单",
                                    .en = "Click for the runtime usage menu"};
/// The shortcut's label.
inline constexpr BilingualText hintWithShortcut{
    .zh = "点击查看 Runtime 用量菜单，快捷键 {}",
    .en = "Click for the runtime usage menu, shortcut {}"};

inline constexpr BilingualText openVantry{.zh = "打开 Vantry", .en = "Open Vantry"};
inline constexpr BilingualText refreshNow{.zh = "立即刷新", .en = "Refresh now"};
inline constexpr BilingualText settings{.zh = "设置", .en = "Settings"};
inline constexpr BilingualText quit{.zh = "退出 Vantry", .en = "Quit Vantry"};

}  // namespace vantry::StatusItemWords
