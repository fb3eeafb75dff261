#pragma once

#include "presentation/words/Language.h"

/// The words of the notification. The two lines of the body are one sentence.
namespace vantry::QuotaEarlyRecoveryCopy {

inline constexpr BilingualText title{.zh = "好消息！！！", .en = "Good news!"};
inline constexpr BilingualText bodyLine1{.zh = "Bromo，古希腊掌管Reset的神",
                                         .en = "Bromo, the Greek god of Reset"};
inline constexpr BilingualText bodyLine2{.zh = "已为您重置用量额度",
                                         .en = "has restored your usage quota"};

}  // namespace vantry::QuotaEarlyRecoveryCopy
