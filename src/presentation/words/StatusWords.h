#pragma once

#include <string>

#include "presentation/words/Language.h"
#include "records/ReadStatus.h"
#include "refresh/UsageStoreState.h"

/// What is said of a runtime's figures as a whole, of stale ones and of a switch of the zone.
namespace vantry {

constexpr BilingualText staleQuotaText{.zh = "额度数据暂时陈旧",
                                       .en = "Quota data is temporarily stale"};
constexpr BilingualText staleUsageText{.zh = "用量数据暂时陈旧",
                                       .en = "Usage data is temporarily stale"};
constexpr BilingualText staleText{.zh = "数据暂时陈旧", .en = "Temporarily stale"};

constexpr BilingualText statusText(RuntimeMenuStatus status) {
    switch (status) {
        case RuntimeMenuStatus::available:
            return {.zh = "可用", .en = "Available"};
        case RuntimeMenuStatus::stale:
            return staleText;
        case RuntimeMenuStatus::localOnly:
            return {.zh = "本机统计", .en = "Local only"};
        case RuntimeMenuStatus::unavailable:
            break;
    }
    return {.zh = "暂不可用", .en = "Unavailable"};
}

/// What is told of a switch of the statistics zone while it lasts and shortly after.
std::string statisticsTransitionMessage(const StatisticsTransition& transition,
                                        WidgetLanguage language);

}  // namespace vantry
