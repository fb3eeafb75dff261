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
inline constexpr BilingualText locale{.zh = "zh_CN", .en = "en_US_POSIX"};

}  // namespace vantry::TimeWords
