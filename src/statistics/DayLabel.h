#pragma once

#include <string>
#include <string_view>

namespace vantry {

/// A day as a chart shows it: month and day without zeros in front, "9/5" for the day key
/// "2026-09-05". A text that has not the form of a day key is its own label.
std::string dayLabel(std::string_view dayKey);

}  // namespace vantry
