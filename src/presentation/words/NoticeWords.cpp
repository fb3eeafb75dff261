#include "presentation/words/NoticeWords.h"

#include <fmt/format.h>

#include "platform/Application.h"

namespace vantry {

namespace {

// {0} is the count, {1} the service's own words, {2} the program's name.
BilingualText pattern(NoticeKind kind) {
    switch (kind) {
        case NoticeKind::readBegins:
            return {.zh = "正在读取 {2} 数据", .en = "Reading {2} data"};
        case NoticeKind::runtimeLeftOut:
            return {.zh = "VANTRY_RUNTIME_FILTER 未包含 codex，没有可读取的内容",
                    .en = "VANTRY_RUNTIME_FILTER leaves codex out: there is nothing to read"};
        case NoticeKind::accountReadUnfinished:
            return {.zh = "app-server 读取未完成", .en = "The app-server was not read to the end"};
        case NoticeKind::localReadUnfinished:
            return {.zh = "本机用量读取未完成", .en = "Local usage was not read to the end"};
        case NoticeKind::taskBoardReadUnfinished:
            return {.zh = "任务看板读取未完成", .en = "The task board was not read to the end"};
        case NoticeKind::codexMissing:
            return {.zh = "未找到 codex 可执行文件", .en = "No codex program was found"};
        case NoticeKind::chosenCodexNotRunnable:
            return {.zh = "VANTRY_CODEX_PATH 指向的程序无法运行",
                    .en = "The program that VANTRY_CODEX_PATH names cannot be run"};
        case NoticeKind::appServerNotStarted:
            return {.zh = "app-server 启动失败", .en = "The app-server could not be started"};
        case NoticeKind::appServerRequestNotWritten:
            return {.zh = "app-server 请求写入失败",
                    .en = "A request could not be written to the app-server"};
        case NoticeKind::appServerEndedEarly:
            return {.zh = "app-server 提前结束", .en = "The app-server ended early"};
        case NoticeKind::appServerTimedOut:
            return {.zh = "app-server 响应超时", .en = "The app-server did not answer in time"};
        case NoticeKind::appServerOutputExceeded:
            return {.zh = "app-server 输出超出安全限制",
                    .en = "The app-server's output exceeded the safety limit"};
        case NoticeKind::appServerRefusedRequest:
            return {.zh = "app-server {0}: {1}", .en = "app-server {0}: {1}"};
        case NoticeKind::appServerRefused:
            return {.zh = "app-server 返回错误", .en = "The app-server answered with an error"};
        case NoticeKind::accountChanged:
            return {.zh = "Codex 账号在读取期间发生变化，未采用该批官方数据",
                    .en = "The Codex account changed during the read; its data was not used"};
        case NoticeKind::quotaIsStale:
            return {.zh = "Codex 额度接口暂时不可用，显示上次成功数据",
                    .en = "Codex's quota cannot be had for now; the last good data is shown"};
        case NoticeKind::officialDaysAreStale:
            return {.zh = "Codex 官方日统计暂时不可用，显示上次完整历史",
                    .en =
                        "Codex's official days cannot be had for now; the last complete history "
                        "is shown"};
        case NoticeKind::officialDaysUnavailable:
            return {.zh = "Codex 官方历史日桶暂不可用，近 7 天、月度与历史趋势暂不可用",
                    .en =
                        "Codex's official days are not available, nor are the last 7 days, the "
                        "month and the trend"};
        case NoticeKind::officialDaysMalformed:
            return {.zh = "Codex 官方日统计格式异常，未采用该批数据",
                    .en = "Codex's official days are malformed and were not used"};
        case NoticeKind::officialDaysWithoutToday:
            return {.zh = "Codex 官方日统计尚未包含今天，今日与近 7 天暂不采用该批数据",
                    .en =
                        "Codex's official days do not hold today yet: they are not used for "
                        "today and the last 7 days"};
        case NoticeKind::officialLifetimeMalformed:
            return {.zh = "Codex 官方历史累计格式异常，未采用该值",
                    .en = "Codex's official lifetime total is malformed and was not used"};
        case NoticeKind::mergedTokensOverflow:
            return {.zh = "混合 token 汇总超出可表示范围，历史聚合暂不可用",
                    .en = "The merged sum of tokens is too large, and the history not available"};
        case NoticeKind::databaseMissing:
            return {.zh = "未找到 Codex state_5.sqlite",
                    .en = "Codex's state_5.sqlite was not found"};
        case NoticeKind::sqliteMissing:
            return {.zh = "未找到 sqlite3", .en = "sqlite3 was not found"};
        case NoticeKind::databaseQueryFailed:
            return {.zh = "SQLite 查询失败", .en = "The SQLite query failed"};
        case NoticeKind::databaseDataMalformed:
            return {.zh = "SQLite 数据格式异常，未采用该批数据",
                    .en = "The SQLite data is malformed and was not used"};
        case NoticeKind::sessionLogsMissing:
            return {.zh = "未找到 Codex session 日志", .en = "No Codex session logs were found"};
        case NoticeKind::tokenEventsMissing:
            return {.zh = "未找到 Codex token_count 事件",
                    .en = "No Codex token_count events were found"};
        case NoticeKind::sessionDetailsMissing:
            return {.zh = "本机项目明细暂不可用，已暂停显示可能重复的线程累计值",
                    .en =
                        "Details of local projects are not available; totals of threads, which "
                        "may count twice, are not shown"};
        case NoticeKind::sessionLogsWaitStale:
            return {
                .zh = "{0} 个 Codex session 日志暂时无法读取，显示上次完整统计（数据可能暂时陈旧）",
                .en =
                    "Codex session logs that cannot be read for now: {0}; the last complete "
                    "figures are shown, which may be stale"};
        case NoticeKind::sessionLogsWait:
            return {.zh = "{0} 个 Codex session 日志暂时无法读取，今日、近 7 天与日趋势暂不可用",
                    .en =
                        "Codex session logs that cannot be read for now: {0}; today, the last 7 "
                        "days and the trend are not available"};
        case NoticeKind::eventsAheadIgnored:
            return {.zh = "已忽略 {0} 条时间晚于本次刷新的 token 事件",
                    .en = "Token events later than this refresh that were ignored: {0}"};
        case NoticeKind::taskBoardSourceMissing:
            return {.zh = "任务看板未找到 SQLite 数据源",
                    .en = "The task board found no SQLite database"};
        case NoticeKind::taskBoardQueryFailed:
            break;
    }
    return {.zh = "任务看板 SQLite 查询失败", .en = "The task board's SQLite query failed"};
}

constexpr BilingualText unknownError{.zh = "未知错误", .en = "unknown error"};

}  // namespace

std::string text(const Notice& notice, WidgetLanguage language) {
    const std::string_view quoted =
        notice.quoted ? std::string_view(*notice.quoted) : unknownError.in(language);
    return fmt::format(fmt::runtime(pattern(notice.kind).in(language)), notice.count, quoted,
                       application::displayName);
}

}  // namespace vantry
