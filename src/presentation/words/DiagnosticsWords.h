#pragma once

#include "presentation/words/Language.h"
#include "records/LocalUsageGaps.h"

/// What went wrong and what would help, by its kind.
namespace vantry::DiagnosticsWords {

inline constexpr BilingualText title{.zh = "环境检查", .en = "What is missing"};

inline constexpr BilingualText codexNotFound{.zh = "未找到 Codex", .en = "Codex not found"};
inline constexpr BilingualText codexExecutableNotFound{.zh = "未找到 Codex 可执行文件",
                                                       .en = "Codex executable not found"};
inline constexpr BilingualText installCodex{
    .zh = "请先安装 Codex：npm install -g @openai/codex，或在设置中指定 codex 程序的位置。",
    .en =
        "Install Codex first: npm install -g @openai/codex. If it is installed elsewhere, name the "
        "program in Settings."};
inline constexpr BilingualText sqliteNotFound{.zh = "未找到 sqlite3", .en = "sqlite3 not found"};
inline constexpr BilingualText installSqlite{
    .zh = "请用系统的软件包管理器安装 sqlite3，例如：sudo apt install sqlite3。",
    .en = "Install sqlite3 with your package manager, for example: sudo apt install sqlite3."};
inline constexpr BilingualText stateDatabaseNotFound{.zh = "未找到 Codex state_5.sqlite",
                                                     .en = "Codex state_5.sqlite not found"};
inline constexpr BilingualText localDatabaseNotFound{.zh = "未找到本机 Codex 数据库",
                                                     .en = "Local Codex database not found"};
inline constexpr BilingualText sessionLogsNotFound{.zh = "未找到 Codex 会话日志",
                                                   .en = "Codex session logs not found"};
inline constexpr BilingualText tokenEventsNotFound{.zh = "未找到 Codex token_count 事件",
                                                   .en = "Codex token_count events not found"};
inline constexpr BilingualText taskBoardSourceNotFound{
    .zh = "任务看板未找到 SQLite 数据源", .en = "Task board SQLite data source not found"};
inline constexpr BilingualText completeOneSession{
    .zh = "请打开 Codex 并至少完成一次会话，然后刷新。",
    .en = "Open Codex and complete at least one session, then refresh this widget."};
inline constexpr BilingualText queryFailed{.zh = "SQLite 查询失败", .en = "SQLite query failed"};
inline constexpr BilingualText databaseMalformed{.zh = "SQLite 数据格式异常",
                                                 .en = "SQLite data is malformed"};
inline constexpr BilingualText databaseAdvice{
    .zh = "数据库可能正被占用；稍后会自动重试。",
    .en = "The database may be busy; it is read again by itself."};
inline constexpr BilingualText appServerNotStarted{.zh = "app-server 启动失败",
                                                   .en = "Failed to start app-server"};
inline constexpr BilingualText appServerEnded{.zh = "app-server 提前结束",
                                              .en = "app-server ended before responding"};
inline constexpr BilingualText appServerTimedOut{.zh = "app-server 响应超时",
                                                 .en = "app-server response timed out"};
inline constexpr BilingualText appServerOutput{.zh = "app-server 输出超出安全限制",
                                               .en = "app-server output exceeded the safety limit"};
inline constexpr BilingualText accountUnavailable{.zh = "Codex 账户接口暂不可用",
                                                  .en = "Codex account API unavailable"};
inline constexpr BilingualText checkSignIn{
    .zh = "如果没有数据，请确认 Codex 已安装并已登录。",
    .en = "If data does not appear, make sure Codex is installed and signed in."};
inline constexpr BilingualText officialDaysMalformed{.zh = "Codex 官方日统计格式异常",
                                                     .en = "Codex's official days are malformed"};
inline constexpr BilingualText laterRead{.zh = "下次读取会自动重试。",
                                         .en = "The next read tries again."};
inline constexpr BilingualText unknownError{.zh = "未知错误", .en = "Unknown error"};

/// What keeps a log from being counted. The places take the number.
constexpr BilingualText gapTitle(LocalUsageGapKind kind) {
    using Kind = LocalUsageGapKind;
    switch (kind) {
        case Kind::missingLog:
            return {.zh = "{} 个日志在索引中存在，但文件不存在",
                    .en = "Logs that the index names and that are not there: {}"};
        case Kind::unreadableLog:
            return {.zh = "{} 个日志无法读取", .en = "Logs that cannot be read: {}"};
        case Kind::damagedLog:
            return {.zh = "{} 个日志已损坏", .en = "Damaged logs: {}"};
        case Kind::notRegularFile:
            return {.zh = "{} 个日志不是普通文件", .en = "Logs that are no regular files: {}"};
        case Kind::outsideFolders:
            return {.zh = "{} 个日志位于 Codex 文件夹之外",
                    .en = "Logs outside Codex's folders: {}"};
        case Kind::parentCycle:
            return {.zh = "{} 个会话是自己的上级",
                    .en = "Conversations that are their own parents: {}"};
        case Kind::divergentCopy:
            return {.zh = "{} 个日志副本内容不一致", .en = "Copies of logs that differ: {}"};
        case Kind::countedWithoutParent:
            return {.zh = "{} 个分支会话缺少上级，仅统计可确认的部分",
                    .en = "Forks without their parent, of which the certain part counts: {}"};
        case Kind::unreadableLines:
            return {.zh = "跳过了 {} 行无法解析的记录", .en = "Lines that could not be read: {}"};
        case Kind::recordDisagreement:
            return {.zh = "{} 处计数与请求记录不一致，以请求记录为准",
                    .en = "Counters that disagree with the requests' records, which count: {}"};
        case Kind::futureEvents:
            return {.zh = "{} 条记录的时间晚于现在超过一天",
                    .en = "Events dated more than a day ahead: {}"};
        case Kind::goneLog:
            return {.zh = "{} 个日志已不存在，仍计入统计",
                    .en = "Logs that are gone and keep counting: {}"};
        case Kind::damagedRecord:
            break;
    }
    return {.zh = "{} 份保存的记录已损坏，已消失的日志可能缺失",
            .en = "Kept records that are damaged, so that gone logs may be missing: {}"};
}

inline constexpr BilingualText gapAdvice{.zh = "其余日志均已完整统计。",
                                         .en = "All other logs are counted in full."};
inline constexpr BilingualText gonePresence{
    .zh = "这些 token 已经用掉；可运行 vantry forget-gone 清除它们。",
    .en = "Their tokens were spent. To forget them, run: vantry forget-gone"};
inline constexpr BilingualText morePaths{.zh = "另有 {} 个", .en = "{} more"};

}  // namespace vantry::DiagnosticsWords
