#pragma once

#include "presentation/words/Language.h"

/// The words of the dashboard, tab by tab.
namespace vantry::DashboardWords {

inline constexpr BilingualText tasksTab{.zh = "任务", .en = "Tasks"};
inline constexpr BilingualText usageTab{.zh = "用量", .en = "Usage"};
inline constexpr BilingualText projectsTab{.zh = "项目", .en = "Projects"};
inline constexpr BilingualText skillsTab{.zh = "Skill", .en = "Skills"};
inline constexpr BilingualText settings{.zh = "设置", .en = "Settings"};

// Tasks.
inline constexpr BilingualText recentActivityMeaning{
    .zh = "本机在最近 2 小时内记录到活动；不代表会话仍在运行。",
    .en =
        "Local activity was recorded within the last 2 hours; this does not indicate that the "
        "conversation is still running."};
inline constexpr BilingualText otherConversationsMeaning{
    .zh = "最近 2 小时内没有记录到活动的会话。",
    .en = "Conversations without recorded activity in the last 2 hours."};
inline constexpr BilingualText scheduledMeaning{
    .zh = "本机已启用的定时任务；不代表正在运行。",
    .en = "Enabled local scheduled tasks; this does not indicate that they are currently running."};
inline constexpr BilingualText archivedMeaning{
    .zh = "本机记录显示该会话于今天归档；不代表成功或已完成。",
    .en =
        "Local records show that the conversation was archived today; this does not imply success "
        "or completion."};
inline constexpr BilingualText noItems{.zh = "暂无内容", .en = "No items"};
inline constexpr BilingualText tasksUnavailable{.zh = "任务记录不可用",
                                                .en = "Task records unavailable"};
inline constexpr BilingualText tasksReading{.zh = "正在读取任务记录…",
                                            .en = "Reading task records…"};
inline constexpr BilingualText openConversation{.zh = "打开会话", .en = "Open conversation"};
inline constexpr BilingualText copyID{.zh = "复制会话 ID", .en = "Copy conversation id"};
inline constexpr BilingualText copyResume{.zh = "复制恢复命令", .en = "Copy resume command"};
inline constexpr BilingualText untitled{.zh = "无标题", .en = "Untitled"};
inline constexpr BilingualText moreItems{.zh = "另有 {} 项", .en = "{} more"};
inline constexpr BilingualText justNow{.zh = "刚刚", .en = "just now"};
inline constexpr BilingualText minutesAgo{.zh = "{} 分钟前", .en = "{} min ago"};
inline constexpr BilingualText hoursAgo{.zh = "{} 小时前", .en = "{} h ago"};
inline constexpr BilingualText staleTokens{.zh = "今日 {}（可能已过时）",
                                           .en = "today {} (may be out of date)"};
inline constexpr BilingualText todaysTokens{.zh = "今日 {}", .en = "today {}"};

// Usage.
inline constexpr BilingualText quotaPace{.zh = "额度节奏", .en = "Quota pace"};
inline constexpr BilingualText quotaPaceMeaning{
    .zh = "比较当前 7 天窗口的时间进度与已用额度。",
    .en = "Compares elapsed time with quota used in the current 7-day window."};
inline constexpr BilingualText timeElapsed{.zh = "时间进度", .en = "Time elapsed"};
inline constexpr BilingualText quotaUsed{.zh = "已用额度", .en = "Quota used"};
inline constexpr BilingualText healthyPace{.zh = "节奏健康", .en = "Healthy pace"};
inline constexpr BilingualText aheadOfPace{.zh = "消耗偏快", .en = "Usage ahead of pace"};
inline constexpr BilingualText todaysPace{.zh = "今日用量节奏", .en = "Today's usage pace"};
inline constexpr BilingualText usageTrend{.zh = "用量趋势", .en = "Usage trend"};
inline constexpr BilingualText selectTrendRange{.zh = "选择趋势范围",
                                                .en = "Select the trend range"};
inline constexpr BilingualText total{.zh = "合计", .en = "Total"};
inline constexpr BilingualText dailyAverage{.zh = "日均", .en = "Daily average"};
inline constexpr BilingualText peakDay{.zh = "峰值", .en = "Peak"};
inline constexpr BilingualText change{.zh = "变化", .en = "Change"};
inline constexpr BilingualText newActivity{.zh = "新增", .en = "New"};
inline constexpr BilingualText comparedWith{.zh = "与之前 {} 天相比",
                                            .en = "Against the {} days before"};
inline constexpr BilingualText comparisonIncomplete{
    .zh = "此前的对比周期不完整。",
    .en = "The days before are not complete, so there is nothing to compare with."};
inline constexpr BilingualText monthCost{.zh = "本月费用估算", .en = "Month's estimated cost"};
inline constexpr BilingualText projectedCost{
    .zh = "按当前速度全月约 ${:.2f}", .en = "about ${:.2f} for the whole month at this pace"};
inline constexpr BilingualText costUnknown{
    .zh = "官方日统计不区分输入与输出，无法估算费用。",
    .en = "The account's days have no split of input and output, so their cost is not known."};
inline constexpr BilingualText noUsageTrend{.zh = "暂无用量趋势", .en = "No usage trend"};
inline constexpr BilingualText noRecentTrend{.zh = "暂无近期趋势", .en = "No recent trend"};
inline constexpr BilingualText notEnoughDays{
    .zh = "本机每日 token 记录还不足以比较。",
    .en = "There are not enough local daily token records to compare yet."};
inline constexpr BilingualText recentUnavailable{.zh = "近期用量不可用",
                                                 .en = "Recent usage unavailable"};
inline constexpr BilingualText detailInsufficient{
    .zh = "本机会话明细不足；未使用线程总量拼凑趋势。",
    .en =
        "Detailed local session records are insufficient; thread totals were not used to fabricate "
        "a trend."};
inline constexpr BilingualText viewModels{.zh = "按模型查看本机用量",
                                          .en = "View local usage by model"};
inline constexpr BilingualText trendSources{
    .zh = "今天与昨天来自本机，更早的日期来自账号。",
    .en = "Today and yesterday from this computer, earlier days from the account."};
inline constexpr BilingualText daysNotKnown{.zh = "{} 天的用量未知，显示为空缺。",
                                            .en = "{} days are not known and shown as gaps."};
inline constexpr BilingualText dayNotKnown{.zh = "{} 天的用量未知，显示为空缺。",
                                           .en = "{} day is not known and shown as a gap."};
inline constexpr BilingualText todayUnfinished{.zh = "今天尚未结束", .en = "today is not over yet"};

// Models.
inline constexpr BilingualText models{.zh = "模型", .en = "Models"};
inline constexpr BilingualText modelTrend{.zh = "本机模型用量", .en = "Local usage by model"};
inline constexpr BilingualText modelTrendRange{.zh = "模型趋势范围", .en = "Model trend range"};
inline constexpr BilingualText allModels{.zh = "全部模型", .en = "All models"};
inline constexpr BilingualText otherModels{.zh = "其他模型", .en = "Other models"};
inline constexpr BilingualText unknownModel{.zh = "未知模型", .en = "Unknown model"};
inline constexpr BilingualText topModels{
    .zh = "显示前 8 个模型；其余合并。未知模型单独显示。",
    .en = "Top 8 models; remaining models grouped. Unknown shown separately."};
inline constexpr BilingualText showAllModels{.zh = "显示全部模型的每日趋势",
                                             .en = "Show daily trends for all models"};
/// The number of days.
inline constexpr BilingualText gapsOfDays{.zh = "{} 天 · 空缺表示没有记录",
                                          .en = "{} days · Gaps mean missing records"};
inline constexpr BilingualText noModelHistory{.zh = "暂无本机模型记录",
                                              .en = "No local model history"};
inline constexpr BilingualText noModelRecords{
    .zh = "该范围内没有完整的本机记录。",
    .en = "No complete local records are available for this range."};
inline constexpr BilingualText modelNote{
    .zh = "本机模型归因可能不完整；不等于账号历史累计。",
    .en = "Local model attribution may be incomplete; it is not the account lifetime total."};
inline constexpr BilingualText backToUsage{.zh = "返回用量", .en = "Back to usage"};

// Projects.
inline constexpr BilingualText projects{.zh = "项目", .en = "Projects"};
inline constexpr BilingualText localBadge{.zh = "本机", .en = "LOCAL"};
inline constexpr BilingualText today{.zh = "今日", .en = "Today"};
inline constexpr BilingualText sevenDays{.zh = "7 天", .en = "7 days"};
inline constexpr BilingualText thirtyDays{.zh = "30 天", .en = "30 days"};
inline constexpr BilingualText allTime{.zh = "全部", .en = "All"};
inline constexpr BilingualText viewToday{.zh = "查看今天的本机项目用量",
                                         .en = "View today's local project usage"};
inline constexpr BilingualText viewRecent{.zh = "查看最近 7 天的本机项目用量",
                                          .en = "View local project usage from the last 7 days"};
inline constexpr BilingualText viewAll{
    .zh = "查看全部时间的项目用量估算",
    .en = "View the estimate of project usage since the beginning"};
inline constexpr BilingualText noProjectsToday{.zh = "今天没有项目用量",
                                               .en = "No project usage today"};
inline constexpr BilingualText noProjectsTodayReason{
    .zh = "今天没有可归类的本机 Codex 项目用量。",
    .en = "No local Codex project usage can be grouped today."};
inline constexpr BilingualText noProjects{.zh = "暂无项目记录", .en = "No project records"};
inline constexpr BilingualText noProjectsReason{
    .zh = "暂时没有可归类的本机 Codex 项目用量。",
    .en = "No local Codex project usage can be grouped yet."};
inline constexpr BilingualText unattributed{.zh = "未归属 {}", .en = "Unattributed {}"};
inline constexpr BilingualText unattributedReason{
    .zh = "没有可用本机项目事件的官方日用量未归入任何项目。",
    .en =
        "Official daily usage without usable local project events was not assigned to any "
        "project."};
inline constexpr BilingualText estimateFromCache{
    .zh = "官方日用量或历史累计来自缓存，项目估算可能已过时。",
    .en = "Official daily usage or lifetime came from cache; project estimates may be outdated."};
inline constexpr BilingualText estimateNeedsOfficial{
    .zh = "全部时间的估算需要完整的官方日用量与历史累计，现在显示本机归因。",
    .en =
        "The all-time estimate needs complete official daily usage and the lifetime total; local "
        "attribution is shown."};
inline constexpr BilingualText estimateMeaning{
    .zh = "每天的本机项目用量不超过当天的官方用量；无法解释的部分列为未归属。",
    .en =
        "A day's local project usage is limited to that day's official usage; what no log explains "
        "is unattributed."};
inline constexpr BilingualText projectsUnavailable{.zh = "项目用量不可用",
                                                   .en = "Project usage unavailable"};
inline constexpr BilingualText projectActivityUnavailable{.zh = "项目活动不可用",
                                                          .en = "Project activity unavailable"};
inline constexpr BilingualText projectDetailsUnavailable{.zh = "项目明细不可用",
                                                         .en = "Project details unavailable"};
inline constexpr BilingualText refreshNames{.zh = "刷新项目名称", .en = "Refresh project names"};
inline constexpr BilingualText filter{.zh = "名称或路径", .en = "Name or path"};
inline constexpr BilingualText nothingFiltered{.zh = "没有名称或路径包含“{}”的项目。",
                                               .en = "No project has \"{}\" in its name or path."};
inline constexpr BilingualText newProjects{.zh = "其中 {} 个为首次使用", .en = "{} of them new"};
inline constexpr BilingualText withoutFolder{.zh = "没有工作文件夹的会话",
                                             .en = "conversations without a folder"};
inline constexpr BilingualText backToRanking{.zh = "返回项目排行", .en = "Back to project ranking"};
inline constexpr BilingualText thirtyDayTrend{.zh = "近 30 天", .en = "Last 30 days"};
inline constexpr BilingualText conversations{.zh = "会话", .en = "Conversations"};
inline constexpr BilingualText otherSessions{.zh = "其他会话", .en = "Other sessions"};
inline constexpr BilingualText subagent{.zh = "子代理", .en = "Subagent"};
inline constexpr BilingualText tools{.zh = "工具", .en = "Tools"};
inline constexpr BilingualText projectEventAttribution{.zh = "本机项目事件归因",
                                                       .en = "Local project-event attribution"};
inline constexpr BilingualText localAttribution{.zh = "本机归因", .en = "Local attribution"};

// Skills and tools.
inline constexpr BilingualText skillUsage{.zh = "Skill 使用 TOP20", .en = "Skill usage TOP20"};
inline constexpr BilingualText toolUsage{.zh = "工具使用 TOP20", .en = "Tool usage TOP20"};
inline constexpr BilingualText loads{.zh = "加载 {} 次", .en = "{} loads"};
inline constexpr BilingualText load{.zh = "加载 {} 次", .en = "{} load"};
inline constexpr BilingualText calls{.zh = "调用 {} 次", .en = "{} calls"};
inline constexpr BilingualText call{.zh = "调用 {} 次", .en = "{} call"};
inline constexpr BilingualText skillTokens{.zh = "Skill.md Token数", .en = "Skill.md tokens"};
inline constexpr BilingualText noSkills{.zh = "暂无 Skill 加载", .en = "No Skill loads"};
inline constexpr BilingualText noSkillsReason{
    .zh = "本机会话的工具调用参数中没有发现 SKILL.md 加载事件。",
    .en = "No SKILL.md load events were found in local session tool-call arguments."};
inline constexpr BilingualText noTools{.zh = "暂无工具调用", .en = "No tool calls"};
inline constexpr BilingualText noToolsReason{.zh = "本机会话中没有发现工具调用。",
                                             .en = "No tool calls were found in local sessions."};
inline constexpr BilingualText skillsUnavailable{.zh = "Skill 与工具记录不可用",
                                                 .en = "Skill and tool records unavailable"};
inline constexpr BilingualText lastLoaded{.zh = "最近加载于 {}", .en = "last loaded {}"};
inline constexpr BilingualText showProjects{.zh = "显示使用它的项目",
                                            .en = "Show the projects that used it"};

}  // namespace vantry::DashboardWords
