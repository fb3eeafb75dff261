#pragma once

#include <string>
#include <string_view>

#include "platform/Calendar.h"

namespace vantry::StatisticsDateFormatting {

struct Label {
    Date from;
    const Calendar& calendar;
    std::string_view localeIdentifier;  ///< "en_US_POSIX"
    std::string_view dateFormat;        ///< "yyyy-MM-dd EEE"
};

/// All date labels of statistics go through here, so that date, weekday and month follow the
/// calendar's zone and never the machine's.
inline std::string string(const Label& label) {
    return label.calendar.text(
        label.from, {.localeIdentifier = label.localeIdentifier, .pattern = label.dateFormat});
}

}  // namespace vantry::StatisticsDateFormatting
