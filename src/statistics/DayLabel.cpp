#include "statistics/DayLabel.h"

namespace vantry {

namespace {

constexpr std::string_view withoutZero(std::string_view twoDigits) {
    return twoDigits.starts_with('0') ? twoDigits.substr(1) : twoDigits;
}

}  // namespace

std::string dayLabel(std::string_view dayKey) {
    if (dayKey.size() != 10 || dayKey[4] != '-' || dayKey[7] != '-') return std::string(dayKey);
    std::string label(withoutZero(dayKey.substr(5, 2)));
    label += '/';
    label += withoutZero(dayKey.substr(8, 2));
    return label;
}

}  // namespace vantry
