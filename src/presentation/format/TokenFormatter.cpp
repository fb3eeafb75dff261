#include "presentation/format/TokenFormatter.h"

#include <array>
#include <cmath>
#include <fmt/format.h>

namespace vantry::TokenFormatter {

namespace {

struct Unit {
    double size;
    char letter;
};
constexpr std::array units{Unit{1e3, 'K'}, Unit{1e6, 'M'}, Unit{1e9, 'B'}};

}  // namespace

std::string format(std::optional<std::int64_t> tokens) {
    if (!tokens) return "--";
    const auto value = static_cast<double>(*tokens);
    const double size = std::fabs(value);
    if (size < 1e3) return fmt::format("{}", *tokens);
    const auto inTenths = [value](const Unit& unit) {
        return std::round(value / unit.size * 10) / 10;
    };
    std::size_t index = size >= 1e9 ? 2 : size >= 1e6 ? 1 : 0;
    if (index < 2 && std::fabs(inTenths(units[index])) >= 1000) ++index;
    return fmt::format("{:.1f}{}", inTenths(units[index]), units[index].letter);
}

}  // namespace vantry::TokenFormatter
