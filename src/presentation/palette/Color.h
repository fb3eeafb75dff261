#pragma once

#include <cstdint>

#include "platform/RecordFields.h"

namespace vantry {

/// A colour in sRGB, each component 0...1.
struct RingRGBColor {
    double red = 0;
    double green = 0;
    double blue = 0;

    /// "2866F7" as 0x2866F7.
    static constexpr RingRGBColor hex(std::uint32_t value) {
        return {static_cast<double>(value >> 16U & 0xFFU) / 255,
                static_cast<double>(value >> 8U & 0xFFU) / 255,
                static_cast<double>(value & 0xFFU) / 255};
    }

    friend bool operator==(const RingRGBColor&, const RingRGBColor&) = default;
};

template <>
struct RecordFields<RingRGBColor> {
    static constexpr std::tuple list{field("red", &RingRGBColor::red),
                                     field("green", &RingRGBColor::green),
                                     field("blue", &RingRGBColor::blue)};
};

/// `from` mixed towards `to`, component by component; the fraction is limited to 0...1.
struct ColorMix {
    RingRGBColor from;
    RingRGBColor to;
    double fraction = 0;
};
RingRGBColor mixedColor(const ColorMix& mix);

/// By the sRGB standard, 0 for black to 1 for white.
double relativeLuminance(const RingRGBColor& color);

/// 1 to 21.
double contrastRatio(const RingRGBColor& a, const RingRGBColor& b);

}  // namespace vantry
