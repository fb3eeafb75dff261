#include "presentation/palette/Color.h"

#include <algorithm>
#include <cmath>

namespace vantry {

RingRGBColor mixedColor(const ColorMix& mix) {
    const double fraction = std::clamp(mix.fraction, 0.0, 1.0);
    const auto part = [&](double from, double to) { return from + (to - from) * fraction; };
    return {part(mix.from.red, mix.to.red), part(mix.from.green, mix.to.green),
            part(mix.from.blue, mix.to.blue)};
}

double relativeLuminance(const RingRGBColor& color) {
    const auto linear = [](double value) {
        return value <= 0.04045 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(color.red) + 0.7152 * linear(color.green) + 0.0722 * linear(color.blue);
}

double contrastRatio(const RingRGBColor& a, const RingRGBColor& b) {
    const double x = relativeLuminance(a) + 0.05;
    const double y = relativeLuminance(b) + 0.05;
    return std::max(x, y) / std::min(x, y);
}

}  // namespace vantry
