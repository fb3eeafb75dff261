#pragma once

#include "presentation/words/Language.h"
#include "records/ReaderControlState.h"

/// The words of the watch's line.
namespace vantry::WatchWords {

inline constexpr BilingualText reading{.zh = "正在读取…", .en = "reading…"};
inline constexpr BilingualText nothingToRead{
    .zh = "没有可读取的内容：VANTRY_RUNTIME_FILTER 未包含 codex",
    .en = "Nothing to read: VANTRY_RUNTIME_FILTER leaves codex out"};

inline constexpr BilingualText fiveHours{.zh = "5 小时", .en = "5h"};
inline constexpr BilingualText sevenDays{.zh = "7 天", .en = "7d"};
/// The window's name and a percentage.
inline constexpr BilingualText left{.zh = "{} 剩余 {:.0f}%", .en = "{} {:.0f}% left"};
inline constexpr BilingualText between{.zh = "，", .en = ", "};
inline constexpr BilingualText backIn{.zh = "，{}后恢复", .en = ", back in {}"};

inline constexpr BilingualText today{.zh = "今日 {}", .en = "today {}"};
inline constexpr BilingualText lastSevenDays{.zh = "近 7 天 {}", .en = "7 days {}"};
inline constexpr BilingualText activeConversation{.zh = "{} 个活跃会话",
                                                  .en = "{} active conversation"};
inline constexpr BilingualText activeConversations{.zh = "{} 个活跃会话",
                                                   .en = "{} active conversations"};
/// The number of gaps and their kinds.
inline constexpr BilingualText gap{.zh = "{} 处缺口 ({})", .en = "{} gap ({})"};
inline constexpr BilingualText gaps{.zh = "{} 处缺口 ({})", .en = "{} gaps ({})"};

inline constexpr BilingualText quota{.zh = "额度数据", .en = "quota"};
inline constexpr BilingualText officialDays{.zh = "官方日统计", .en = "official days"};
inline constexpr BilingualText localFigures{.zh = "本机统计", .en = "local figures"};
inline constexpr BilingualText stale{.zh = "{}陈旧", .en = "{} stale"};
inline constexpr BilingualText staleSince{.zh = "{}自 {} 起陈旧", .en = "{} stale since {}"};

inline constexpr BilingualText noCodex{.zh = "未找到可运行的 codex", .en = "no codex to run"};
inline constexpr BilingualText accountNotRead{.zh = "账号读取失败", .en = "account not read"};
inline constexpr BilingualText officialDaysNotRead{.zh = "官方日统计读取失败",
                                                   .en = "official days not read"};
inline constexpr BilingualText localFiguresNotRead{.zh = "本机统计读取失败",
                                                   .en = "local figures not read"};

constexpr BilingualText troubleText(LocalReaderDependencyFailure failure) {
    if (failure == LocalReaderDependencyFailure::databaseMissing) {
        return {.zh = "未找到 Codex 数据库", .en = "no database of Codex found"};
    }
    return {.zh = "未找到 sqlite3", .en = "sqlite3 not found"};
}

}  // namespace vantry::WatchWords
