#pragma once

#include "presentation/words/Language.h"

/// The words of the cards on usage: hours, goals, half a year, the lifetime.
namespace vantry::UsageCardWords {

inline constexpr BilingualText hourlyTitle{.zh = "今日累计 · 近 7 日均值",
                                           .en = "Today cumulative · 7-day avg"};
inline constexpr BilingualText hourlyTitleWithoutAverage{
    .zh = "今日累计 · 均值不可用", .en = "Today cumulative · avg unavailable"};
inline constexpr BilingualText noHours{.zh = "暂无小时明细", .en = "Hourly detail unavailable"};
inline constexpr BilingualText noCumulative{.zh = "暂无累计明细",
                                            .en = "Cumulative detail unavailable"};
inline constexpr BilingualText hourlyHeader{.zh = " · 今日 {} / 均值 {}",
                                            .en = " · Today {} / Avg {}"};
inline constexpr BilingualText hourlyHeaderPending{.zh = " · 今日待统计 / 均值 {}",
                                                   .en = " · Today pending / Avg {}"};
/// The change, and that of something that was not there before.
inline constexpr BilingualText againstAverage{.zh = "{} 较均值", .en = "{} vs avg"};
inline constexpr BilingualText newAgainstAverage{.zh = "较均值为新增", .en = "New vs avg"};
/// The hour, the tokens, and the average by that hour.
inline constexpr BilingualText hourTooltip{
    .zh = "{0}，今日累计 {1} token；截至 {0} 的近 7 日均值为 {2} token",
    .en =
        "{0} Today's cumulative usage is {1} tokens; previous 7-day average by {0} is {2} tokens"};
inline constexpr BilingualText hourTooltipWithoutAverage{
    .zh = "{0}，今日累计 {1} token；近 7 日均值不可用",
    .en = "{0} Today's cumulative usage is {1} tokens; previous 7-day average unavailable"};
/// An hour that is still to come.
inline constexpr BilingualText hourTooltipAverageAlone{
    .zh = "截至 {0} 的近 7 日均值为 {1} token",
    .en = "{0} Previous 7-day average by {0} is {1} tokens"};

inline constexpr BilingualText goals{.zh = "Token 小目标", .en = "Token goals"};
inline constexpr BilingualText today{.zh = "今日", .en = "Today"};
inline constexpr BilingualText thisWeek{.zh = "本周", .en = "This week"};
inline constexpr BilingualText goalNotSet{.zh = "目标未设置", .en = "Goal not set"};
inline constexpr BilingualText ofGoal{.zh = "{} / {}", .en = "{} / {}"};
inline constexpr BilingualText awaitingStatistics{.zh = "统计待恢复",
                                                  .en = "Waiting for statistics"};
inline constexpr BilingualText weekIncomplete{
    .zh = "本周有日期的用量未知，无法给出合计。",
    .en = "A day of this week is not known, so there is no sum."};
inline constexpr BilingualText nextRenewal{.zh = "下次续费", .en = "Next renewal"};
inline constexpr BilingualText inDays{.zh = "{} 天后", .en = "{} days"};
inline constexpr BilingualText inOneDay{.zh = "{} 天后", .en = "{} day"};
inline constexpr BilingualText renewsToday{.zh = "今天", .en = "Today"};
inline constexpr BilingualText unset{.zh = "未设置", .en = "Unset"};

inline constexpr BilingualText halfYear{.zh = "最近半年用量", .en = "Last 6 months"};
inline constexpr BilingualText active{.zh = "近半年活跃", .en = "Active"};
inline constexpr BilingualText activeDays{.zh = "{} 天", .en = "{} days"};
inline constexpr BilingualText activeDay{.zh = "{} 天", .en = "1 day"};
/// A day and its tokens.
inline constexpr BilingualText dayTokens{.zh = "{}，{} token", .en = "{}, {} tokens"};
inline constexpr BilingualText noTokenUsage{.zh = "{}，无 token 记录",
                                            .en = "No token usage on {}"};
inline constexpr BilingualText noTokenRecords{.zh = "{}，无 token 记录",
                                              .en = "No token records on {}"};
inline constexpr BilingualText dayUnavailable{.zh = "{} 的数据不可用", .en = "Unavailable on {}"};
inline constexpr BilingualText noRecentTokens{.zh = "暂无近 90 天 token 记录", .en = "No data"};
inline constexpr BilingualText firstRun{
    .zh = "完成一次 Codex 会话后，这里会显示近半年的每日 token 热力图。",
    .en =
        "After one Codex session, this card shows a daily token heatmap for the last six months."};
inline constexpr BilingualText incompletePeriod{
    .zh = "当前周期数据不完整，历史热力图仍可查看。",
    .en = "The current period is incomplete; historical heatmap data remains available."};
inline constexpr BilingualText less{.zh = "少", .en = "less"};
inline constexpr BilingualText more{.zh = "多", .en = "more"};
/// A chart in words: its title, its days, its total, its peak.
inline constexpr BilingualText spokenChart{.zh = "{}，{}，合计 {} token，峰值 {}",
                                           .en = "{}, {}, total {} tokens, peak {}"};

inline constexpr BilingualText detailed{.zh = "明细", .en = "Detailed"};
inline constexpr BilingualText hybrid{.zh = "混合口径", .en = "Hybrid"};
inline constexpr BilingualText official{.zh = "官方日统计", .en = "Official days"};
inline constexpr BilingualText dailyAligned{.zh = "官方日量估算", .en = "Daily-aligned estimate"};
inline constexpr BilingualText threadBased{.zh = "线程口径", .en = "Thread-based"};

inline constexpr BilingualText lifetime{.zh = "历史累计 {}", .en = "Lifetime {}"};
/// All digits.
inline constexpr BilingualText lifetimeTooltip{.zh = "Codex 官方账号历史累计 {} token",
                                               .en = "official account lifetime total {} tokens"};
inline constexpr BilingualText staleLifetime{.zh = "上次官方累计 · {}",
                                             .en = "Last official total · {}"};
inline constexpr BilingualText asOf{.zh = "截至 {}", .en = "As of {}"};
inline constexpr BilingualText captureTimeUnknown{.zh = "捕获时间未知",
                                                  .en = "Capture time unknown"};
inline constexpr BilingualText lifetimeUnavailable{
    .zh = "官方账号历史累计不可用", .en = "Official account lifetime total unavailable"};

}  // namespace vantry::UsageCardWords
