#pragma once

#include "presentation/words/Language.h"

/// What stands beside a figure: where it comes from, how old it is, and why it is missing.
namespace vantry::FigureWords {

inline constexpr BilingualText unavailable{.zh = "不可用", .en = "Unavailable"};
inline constexpr BilingualText unavailableForNow{.zh = "暂不可用", .en = "Unavailable"};
inline constexpr BilingualText thisComputer{.zh = "本机", .en = "this computer"};
inline constexpr BilingualText account{.zh = "账号", .en = "account"};
inline constexpr BilingualText accountAndComputer{.zh = "账号与本机",
                                                  .en = "account and this computer"};
/// The source and the time of the read.
inline constexpr BilingualText readAt{.zh = "{}，{}", .en = "{}, {}"};
inline constexpr BilingualText staleSince{.zh = "{}，{} 读取，可能已过时",
                                          .en = "{}, read {}, may be out of date"};
inline constexpr BilingualText notRead{.zh = "{}，未读取", .en = "{}, not read"};
inline constexpr BilingualText yesterday{.zh = "昨天 {}", .en = "yesterday {}"};
/// The label, the value.
inline constexpr BilingualText spoken{.zh = "{}：{}", .en = "{}: {}"};
inline constexpr BilingualText tokens{.zh = "{} token", .en = "{} tokens"};
inline constexpr BilingualText conversations{.zh = "{} 个会话", .en = "{} conversations"};
inline constexpr BilingualText conversation{.zh = "{} 个会话", .en = "{} conversation"};
inline constexpr BilingualText aboutDollars{.zh = "约 ${:.2f}", .en = "about ${:.2f}"};

inline constexpr BilingualText notReadYet{.zh = "首次读取完成后显示。",
                                          .en = "Shown after the first read."};
inline constexpr BilingualText notKnownHere{.zh = "本机日志无法给出这一数值。",
                                            .en = "The logs of this computer do not tell it."};

}  // namespace vantry::FigureWords
