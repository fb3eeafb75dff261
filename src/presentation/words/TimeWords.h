#pragma once

#include "presentation/words/Language.h"

/// Spans and moments of time.
namespace vantry::TimeWords {

inline constexpr BilingualText days{.zh = "{}天", .en = "{}d"};
inline constexpr BilingualText hours{.zh = "{}小时", .en = "{}h"};
inline constexpr BilingualText minutes{.zh = "{}分", .en = "{}m"};
inline constexpr BilingualText between{.zh = "", .en = " "};  ///< two units

/// Patterns of a moment: of today, and of another day.
inline constexpr BilingualText timeOfDay{.zh = "HH:mm", .en = "HH:mm"};
inline constexpr BilingualText timeOfOtherDay{.zh = "M月d日 HH:mm", .en = "MMM d HH:mm"};
inline constexpr BilingualText timeOfWeekday{.zh = "EEE HH:mm", .en = "EEE HH:mm"};

/// Days: in a tool tip, in full, of a month, and with the year.
inline constexpr BilingualText shortDay{.zh = "M月d日", .en = "MMM d"};
inline constexpr BilingualText longDay{.zh = "M月d日 EEEE", .en = "MMM d, EEEE"};
inline constexpr BilingualText weekday{.zh = "EEEEE", .en = "EEE"};
inline constexpr BilingualText month{.zh = "M月", .en = "MMM"};
inline constexpr BilingualText wholeMoment{.zh = "yyyy-MM-dd HH:mm z", .en = "yyyy-MM-dd HH:mm z"};
inline constexpr BilingualText wholeDay{.zh = "yyyy年M月d日", .en = "MMM d, yyyy"};
inline constexpr BilingualText locale{.zh = "zh_CN", .en = "en_US_POSIX"};

}  // namespace vantry::TimeWords
