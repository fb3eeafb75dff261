#pragma once

#include "presentation/words/Language.h"
#include "session/settings/Appearance.h"

/// The words of the settings.
namespace vantry::SettingsWords {

inline constexpr BilingualText title{.zh = "设置", .en = "Settings"};

inline constexpr BilingualText general{.zh = "通用", .en = "General"};
inline constexpr BilingualText interface { .zh = "界面", .en = "Interface" };
inline constexpr BilingualText tray{.zh = "托盘", .en = "Tray"};
inline constexpr BilingualText startup{.zh = "启动与状态", .en = "Startup & Status"};
inline constexpr BilingualText data{.zh = "数据与统计", .en = "Data & Statistics"};
inline constexpr BilingualText goals{.zh = "目标与订阅", .en = "Goals & Subscription"};
inline constexpr BilingualText privacy{.zh = "隐私与许可", .en = "Privacy & License"};
inline constexpr BilingualText information{.zh = "信息与文档", .en = "Information & Documents"};

// General.
inline constexpr BilingualText language{.zh = "语言", .en = "Language"};
inline constexpr BilingualText languageMeaning{.zh = "用于全部窗口与菜单",
                                               .en = "Used in all windows and menus"};
inline constexpr BilingualText chinese{.zh = "简体中文", .en = "简体中文"};
inline constexpr BilingualText english{.zh = "English", .en = "English"};
inline constexpr BilingualText keepOnTop{.zh = "主窗口置顶", .en = "Keep main window on top"};
inline constexpr BilingualText keepOnTopMeaning{
    .zh = "需要一直看到用量时使用", .en = "Use this when you need the usage view visible"};
inline constexpr BilingualText keepRunning{.zh = "关闭主窗口后继续运行",
                                           .en = "Keep running when the main window is closed"};
inline constexpr BilingualText keepRunningMeaning{
    .zh = "关闭主窗口后 Vantry 留在托盘中；可从托盘或快捷键重新打开",
    .en = "Closing the main window leaves Vantry in the tray; reopen from the tray or shortcut"};
inline constexpr BilingualText keepRunningWithoutTray{
    .zh = "此桌面没有托盘；关闭主窗口后只能通过快捷键或再次启动打开",
    .en =
        "This desktop has no tray; reopen the window by the shortcut or by starting Vantry again"};
inline constexpr BilingualText shortcut{.zh = "快捷键", .en = "Shortcut"};
inline constexpr BilingualText shortcutMeaning{.zh = "显示或隐藏主窗口",
                                               .en = "Show or hide the main window"};
inline constexpr BilingualText pressShortcut{.zh = "请按下快捷键…", .en = "Press shortcut…"};
inline constexpr BilingualText noShortcut{.zh = "未设置", .en = "None"};
inline constexpr BilingualText shortcutFailed{
    .zh = "快捷键不可用，请换一个组合", .en = "Shortcut unavailable; try another combination"};
inline constexpr BilingualText shortcutInvalid{.zh = "请同时按下 Ctrl、Alt 或 Super",
                                               .en = "Hold Ctrl, Alt or Super with the key"};
inline constexpr BilingualText shortcutReserved{
    .zh = "该组合用于退出程序，请换一个", .en = "This combination quits programs; try another"};
inline constexpr BilingualText shortcutsNotHere{
    .zh = "此桌面不提供系统级快捷键", .en = "This desktop offers no system-wide shortcuts"};

// Interface.
inline constexpr BilingualText appearance{.zh = "外观", .en = "Appearance"};
inline constexpr BilingualText appearanceMeaning{.zh = "默认跟随系统",
                                                 .en = "System is the default"};
inline constexpr BilingualText system{.zh = "跟随系统", .en = "System"};
inline constexpr BilingualText light{.zh = "浅色", .en = "Light"};
inline constexpr BilingualText dark{.zh = "深色", .en = "Dark"};
inline constexpr BilingualText skin{.zh = "皮肤", .en = "Skin"};
inline constexpr BilingualText skinMeaning{.zh = "切换应用配色",
                                           .en = "Switches the app color palette"};
inline constexpr BilingualText skinScope{
    .zh = "应用于主窗口、菜单弹窗与设置",
    .en = "Applies to the main window, menu popover, and settings"};

// Tray.
inline constexpr BilingualText displayMode{.zh = "显示模式", .en = "Display mode"};
inline constexpr BilingualText minimal{.zh = "极简", .en = "Minimal"};
inline constexpr BilingualText classic{.zh = "经典", .en = "Classic"};
inline constexpr BilingualText displayModeMeaning{
    .zh = "极简节省空间；经典显示标志与数字圆环",
    .en = "Minimal saves space; Classic shows the logo and number ring"};
inline constexpr BilingualText quotaDirection{.zh = "额度方向", .en = "Quota direction"};
inline constexpr BilingualText remaining{.zh = "剩余", .en = "Remaining"};
inline constexpr BilingualText used{.zh = "已用", .en = "Used"};
inline constexpr BilingualText quotaDirectionMeaning{
    .zh = "圆环、进度条与数字始终使用同一方向",
    .en = "Rings, bars, and numbers always use the same direction"};
inline constexpr BilingualText visibleMetrics{.zh = "显示指标", .en = "Visible metrics"};
inline constexpr BilingualText visibleMetricsMeaning{.zh = "固定顺序：套餐额度、今日 token",
                                                     .en = "Fixed order: plan quota, today tokens"};
inline constexpr BilingualText planQuota{.zh = "套餐额度", .en = "Plan quota"};
inline constexpr BilingualText todayTokens{.zh = "今日 token", .en = "Today tokens"};
inline constexpr BilingualText keepOneMetric{.zh = "至少保留一项指标",
                                             .en = "Keep at least one metric"};
inline constexpr BilingualText minimalNeedsQuota{
    .zh = "极简模式至少需要一项额度指标", .en = "Minimal mode needs at least one quota metric"};
inline constexpr BilingualText movingLight{.zh = "流动光效", .en = "Moving light"};
inline constexpr BilingualText movingLightMeaning{
    .zh = "托盘图像每秒更新 15 次，会占用面板少量处理器时间",
    .en = "Updates the tray image 15 times a second, which costs the panel some processor time"};
inline constexpr BilingualText livePreview{.zh = "实时预览", .en = "Live preview"};
inline constexpr BilingualText livePreviewMeaning{.zh = "与托盘使用同一渲染",
                                                  .en = "Uses the same renderer as the tray"};
inline constexpr BilingualText restore{.zh = "恢复默认", .en = "Restore"};
inline constexpr BilingualText restoreMeaning{
    .zh = "恢复为极简、剩余、仅套餐额度", .en = "Restore Minimal, Remaining, and plan quota only"};

// Startup.
inline constexpr BilingualText followCodex{.zh = "随 Codex 启动与退出",
                                           .en = "Start and quit with Codex"};
inline constexpr BilingualText followCodexMeaning{
    .zh = "Codex 启动时打开 Vantry，Codex 退出时关闭",
    .en = "Opens Vantry with Codex and closes it when Codex quits"};
inline constexpr BilingualText startAtLogin{.zh = "登录时启动", .en = "Start at login"};
inline constexpr BilingualText startAtLoginMeaning{
    .zh = "登录后在托盘中运行，不打开窗口", .en = "Runs in the tray after login, without a window"};
/// What the system said.
inline constexpr BilingualText agentUnavailable{.zh = "后台服务不可用：{}",
                                                .en = "Background agent unavailable: {}"};
inline constexpr BilingualText allowAgent{
    .zh = "请确认 systemd 用户管理器正在运行：systemctl --user status",
    .en = "Check that systemd's user manager is running: systemctl --user status"};
inline constexpr BilingualText notInstalled{.zh = "需要从软件包安装 Vantry。",
                                            .en = "Needs Vantry to be installed from its package."};

// Data.
inline constexpr BilingualText statisticsZone{.zh = "统计时区", .en = "Statistics time zone"};
inline constexpr BilingualText utc{.zh = "UTC", .en = "UTC"};
inline constexpr BilingualText fixedZone{.zh = "固定时区", .en = "Fixed time zone"};
inline constexpr BilingualText systemZoneMeaning{.zh = "使用系统日历日 · {}",
                                                 .en = "Uses the system calendar day · {}"};
inline constexpr BilingualText utcMeaning{.zh = "以 UTC 划分日期，便于与官方对照",
                                          .en = "UTC day boundary for easier official comparison"};
inline constexpr BilingualText fixedZoneMeaning{
    .zh = "使用 IANA 时区并遵循夏令时",
    .en = "Uses an IANA zone and observes daylight saving time"};
inline constexpr BilingualText unknownZone{.zh = "没有名为“{}”的时区",
                                           .en = "No time zone is called \"{}\""};
inline constexpr BilingualText codexProgram{.zh = "Codex 程序", .en = "Codex program"};
inline constexpr BilingualText codexProgramMeaning{.zh = "用于读取账号与额度",
                                                   .en = "Read for the account and its quota"};
inline constexpr BilingualText codexHome{.zh = "Codex 文件夹", .en = "Codex folder"};
inline constexpr BilingualText codexHomeMeaning{.zh = "会话日志与数据库所在的文件夹",
                                                .en = "Where session logs and the database are"};
inline constexpr BilingualText automatic{.zh = "自动查找", .en = "Found automatically"};
/// The variable.
inline constexpr BilingualText fromEnvironment{.zh = "由环境变量 {} 指定，优先于此设置",
                                               .en = "Set by {}, which goes before this setting"};
inline constexpr BilingualText notAbsolute{.zh = "请输入以 / 开头的完整路径",
                                           .en = "Enter a full path that begins with /"};
inline constexpr BilingualText versioned{.zh = "{} · {}", .en = "{} · {}"};

// Goals.
inline constexpr BilingualText dailyGoal{.zh = "每日 token 目标", .en = "Daily token goal"};
inline constexpr BilingualText weeklyGoal{.zh = "每周 token 目标", .en = "Weekly token goal"};
inline constexpr BilingualText storedHere{.zh = "仅保存在本机",
                                          .en = "Stored only on this computer"};
inline constexpr BilingualText goalPlaceholder{.zh = "例如 200万 或 2M", .en = "for example 2M"};
inline constexpr BilingualText goalInvalid{.zh = "请输入数字，例如 200万 或 2M",
                                           .en = "Enter a number, for example 2,000,000 or 2M"};
inline constexpr BilingualText nextRenewal{.zh = "下次续费", .en = "Next renewal"};
inline constexpr BilingualText nextRenewalMeaning{
    .zh = "每月同一天续费；短月取最后一天",
    .en = "Recurs on this day each month; the last day of a shorter one"};
inline constexpr BilingualText datePlaceholder{.zh = "年-月-日", .en = "yyyy-mm-dd"};
inline constexpr BilingualText dateInvalid{.zh = "请输入日期，例如 2026-12-05",
                                           .en = "Enter a date, for example 2026-12-05"};

// Privacy and information.
inline constexpr BilingualText privacyPolicy{.zh = "隐私政策", .en = "Privacy Policy"};
inline constexpr BilingualText privacyPolicyMeaning{
    .zh = "本机数据、更新检查与服务器基本日志",
    .en = "Local data, update checks, and basic server logs"};
inline constexpr BilingualText license{.zh = "开源许可", .en = "Open-Source License"};
inline constexpr BilingualText licenseMeaning{
    .zh = "查看软件许可与再分发条款", .en = "View the software license and redistribution terms"};
inline constexpr BilingualText version{.zh = "软件版本", .en = "Software Version"};
inline constexpr BilingualText versionMeaning{.zh = "已安装的版本", .en = "Installed version"};
inline constexpr BilingualText build{.zh = "构建", .en = "Build"};
inline constexpr BilingualText buildMeaning{.zh = "提交、架构与来源",
                                            .en = "Commit, architecture and origin"};
inline constexpr BilingualText website{.zh = "官方网站", .en = "Official website"};
inline constexpr BilingualText websiteMeaning{.zh = "在浏览器中打开", .en = "Opens in the browser"};
inline constexpr BilingualText open{.zh = "打开", .en = "Open"};

constexpr BilingualText skinName(WidgetSkin palette) {
    switch (palette) {
        case WidgetSkin::nebulaViolet:
            return {.zh = "星云幻紫", .en = "Nebula Violet"};
        case WidgetSkin::quantumAurora:
            return {.zh = "量子极光", .en = "Quantum Aurora"};
        case WidgetSkin::glacierCeladon:
            return {.zh = "冰川青磁", .en = "Glacier Celadon"};
        case WidgetSkin::sakuraBlush:
            return {.zh = "樱花绯粉", .en = "Sakura Blush"};
        case WidgetSkin::obsidianGilt:
            return {.zh = "曜石鎏金", .en = "Obsidian Gilt"};
        case WidgetSkin::abyssalAzure:
            break;
    }
    return {.zh = "深海蔚蓝", .en = "Abyssal Azure"};
}

}  // namespace vantry::SettingsWords
