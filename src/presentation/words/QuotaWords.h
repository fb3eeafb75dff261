#pragma once

#include "presentation/words/Language.h"

/// The words of the quota, wherever it is shown.
namespace vantry::QuotaWords {

inline constexpr BilingualText fiveHourQuota{.zh = "5 小时额度", .en = "5-hour quota"};
inline constexpr BilingualText sevenDayQuota{.zh = "7 天额度", .en = "7-day quota"};
/// The percentage.
inline constexpr BilingualText left{.zh = "剩余 {}%", .en = "{}% left"};
inline constexpr BilingualText used{.zh = "已用 {}%", .en = "{}% used"};
inline constexpr BilingualText leftWithoutReset{.zh = "剩余 {}%；重置时间不可用",
                                                .en = "{}% left; reset time unavailable"};
inline constexpr BilingualText usedWithoutReset{.zh = "已用 {}%；重置时间不可用",
                                                .en = "{}% used; reset time unavailable"};
/// How long it takes, and when that is.
inline constexpr BilingualText resets{.zh = "额度重置：{}后 · {}",
                                      .en = "Quota resets: in {} · {}"};
inline constexpr BilingualText resetsLeft{.zh = "剩余重置次数", .en = "Resets left"};
inline constexpr BilingualText reading{.zh = "正在读取…", .en = "reading…"};
inline constexpr BilingualText unavailable{.zh = "不可用", .en = "Unavailable"};
inline constexpr BilingualText signInAdvice{
    .zh = "如果没有数据，请确认 Codex 已安装并已登录。",
    .en = "If data does not appear, make sure Codex is installed and signed in."};
inline constexpr BilingualText windowHasEnded{.zh = "该额度周期已结束，等待下一次读取。",
                                              .en = "This window has ended; the next read tells."};
/// The window's name, what is left, and the reset.
inline constexpr BilingualText spoken{.zh = "{}，{}，{}", .en = "{}, {}, {}"};
inline constexpr BilingualText refresh{.zh = "立即刷新", .en = "Refresh now"};
inline constexpr BilingualText refreshing{.zh = "正在刷新…", .en = "Refreshing…"};
/// When the last read was.
inline constexpr BilingualText lastRead{.zh = "读取于 {}", .en = "read {}"};
inline constexpr BilingualText neverRead{.zh = "尚未读取", .en = "not read yet"};
inline constexpr BilingualText plan{.zh = "{} 套餐", .en = "{} plan"};

}  // namespace vantry::QuotaWords
