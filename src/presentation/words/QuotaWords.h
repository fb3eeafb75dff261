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
/// How long until a window begins anew.
inline constexpr BilingualText inTime{.zh = "{}后恢复", .en = "back in {}"};
inline constexpr BilingualText reached{.zh = "已用完", .en = "used up"};
inline constexpr BilingualText limitReached{.zh = "已达到套餐限额",
                                            .en = "The plan's limit is reached"};
inline constexpr BilingualText creditsDepleted{.zh = "工作区点数已用完",
                                               .en = "The workspace's credits are used up"};
inline constexpr BilingualText workspaceLimitReached{
    .zh = "已达到工作区用量上限", .en = "The workspace's usage limit is reached"};
inline constexpr BilingualText spendingReached{.zh = "已达到支出上限",
                                               .en = "The spending limit is reached"};
inline constexpr BilingualText usageNotAllowed{.zh = "Codex 目前不允许继续使用",
                                               .en = "Codex allows no use for now"};
inline constexpr BilingualText anyLimitReached{.zh = "已达到账号限额",
                                               .en = "A limit of the account is reached"};
/// The limit's name.
inline constexpr BilingualText otherReached{.zh = "已达到限额：{}", .en = "Limit reached: {}"};
inline constexpr BilingualText refresh{.zh = "立即刷新", .en = "Refresh now"};
inline constexpr BilingualText refreshing{.zh = "正在刷新…", .en = "Refreshing…"};
/// When the last read was.
inline constexpr BilingualText lastRead{.zh = "读取于 {}", .en = "read {}"};
inline constexpr BilingualText neverRead{.zh = "尚未读取", .en = "not read yet"};
inline constexpr BilingualText plan{.zh = "{} 套餐", .en = "{} plan"};

}  // namespace vantry::QuotaWords
