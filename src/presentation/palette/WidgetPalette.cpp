#include "presentation/palette/WidgetPalette.h"

#include <algorithm>
#include <cmath>
#include <mutex>
#include <vector>

namespace vantry {

namespace {

using Role = WidgetPaletteRole;
using Colors = std::array<RingRGBColor, widgetPaletteRoleCount>;

constexpr RingRGBColor black{0, 0, 0};
constexpr RingRGBColor white{1, 1, 1};
constexpr double graphicContrast = 3;
constexpr double textContrast = 4.5;

/// The brand, the same in both appearances.
struct Brand {
    RingRGBColor primary;
    RingRGBColor secondary;
    RingRGBColor highlight;
    RingRGBColor secondaryStrong;
};

constexpr RingRGBColor hex(std::uint32_t value) {
    return RingRGBColor::hex(value);
}

constexpr Brand brandOf(WidgetSkin skin) {
    switch (skin) {
        case WidgetSkin::nebulaViolet:
            return {hex(0x2866F7), hex(0x8B6DFF), hex(0xDAA3FA), hex(0x6D45E8)};
        case WidgetSkin::quantumAurora:
            return {hex(0x2F7BFF), hex(0x8A5CFF), hex(0xD7C7FF), hex(0x6536E5)};
        case WidgetSkin::glacierCeladon:
            return {hex(0x6FE7E0), hex(0x93D7B6), hex(0xD8FFF2), hex(0x36A978)};
        case WidgetSkin::sakuraBlush:
            return {hex(0xF06AA0), hex(0xE77BA8), hex(0xFFF0F7), hex(0xB83D73)};
        case WidgetSkin::obsidianGilt:
            return {hex(0xF2C14E), hex(0xD6A84B), hex(0xFFF1C7), hex(0x9A6210)};
        case WidgetSkin::abyssalAzure:
            break;
    }
    return {hex(0x3399FF), hex(0x33C7F2), hex(0xDDF8FF), hex(0x007D9D)};
}

/// Surfaces and text before a skin tints them.
struct Ground {
    RingRGBColor window;
    RingRGBColor card;
    RingRGBColor section;
    RingRGBColor track;
    RingRGBColor control;
    RingRGBColor selected;
    RingRGBColor text;
    RingRGBColor secondaryText;
    RingRGBColor hairline;
};

constexpr Ground lightGround{hex(0xF4F5F9), hex(0xFFFFFF), hex(0xF4F5F9),
                             hex(0xE6E9F0), hex(0xE6E9F0), hex(0xFFFFFF),
                             hex(0x171A21), hex(0x5B6270), hex(0xE9EBF1)};
constexpr Ground darkGround{hex(0x13141A), hex(0x1C1E26), hex(0x23252E),
                            hex(0x2A2D37), hex(0x262933), hex(0x363A47),
                            hex(0xECEEF4), hex(0x9AA1B0), hex(0x2A2D37)};

class Maker {
  public:
    Maker(WidgetSkin skin, WidgetAppearance appearance)
        : brand_(brandOf(skin)),
          isDark_(appearance == WidgetAppearance::dark),
          ground_(isDark_ ? darkGround : lightGround) {}

    Colors colors() {
        addSurfaces();
        set(Role::text, ground_.text);
        set(Role::secondaryText, readable(ground_.secondaryText, textContrast));
        set(Role::brandPrimary, brand_.primary);
        set(Role::brandPrimaryStrong, readable(brand_.primary, graphicContrast));
        set(Role::brandPrimaryForeground, readable(brand_.primary, textContrast));
        set(Role::brandSecondary, brand_.secondary);
        set(Role::brandSecondaryStrong, brand_.secondaryStrong);
        set(Role::brandSecondaryForeground, readable(brand_.secondary, textContrast));
        set(Role::brandHighlight, brand_.highlight);
        set(Role::onBrand, isDark_ ? black : white);
        set(Role::dataAccent, brand_.secondary);
        set(Role::dataAccentForeground, readable(brand_.secondary, textContrast));
        set(Role::dataAccentGraphic, readable(brand_.secondary, graphicContrast));
        set(Role::dataComparison, readable(ground_.secondaryText, graphicContrast));
        set(Role::dataOutput, readable(brand_.primary, graphicContrast));
        set(Role::dataZero, at(Role::surfaceTrack));
        set(Role::dataFlowParticle, mixed(white, brand_.highlight, 0.12));
        addStatus();
        // Pale colours would turn grey on the way to black: on light surfaces the strong one comes
        // in first.
        const double strength = isDark_ ? 0 : 0.5;
        const auto ring = [&](const RingRGBColor& color) {
            return readable(mixed(color, brand_.secondaryStrong, strength), graphicContrast);
        };
        set(Role::ringArcStart, ring(brand_.highlight));
        set(Role::ringArcEnd, ring(brand_.secondary));
        return colors_;
    }

  private:
    static RingRGBColor mixed(const RingRGBColor& from, const RingRGBColor& to, double fraction) {
        return mixedColor({.from = from, .to = to, .fraction = fraction});
    }

    RingRGBColor at(Role role) const { return colors_.at(static_cast<std::size_t>(role)); }
    void set(Role role, const RingRGBColor& color) {
        colors_.at(static_cast<std::size_t>(role)) = color;
    }

    void addSurfaces() {
        constexpr double tint = 0.03;
        const auto tinted = [&](const RingRGBColor& color) {
            return mixed(color, brand_.primary, tint);
        };
        set(Role::windowSurfaceFill, tinted(ground_.window));
        set(Role::cardFill, ground_.card);
        set(Role::cardSurfaceFill, ground_.card);
        set(Role::cardStroke, ground_.hairline);
        set(Role::sectionFill, ground_.section);
        set(Role::sectionSurfaceFill, ground_.section);
        set(Role::sectionStroke, ground_.hairline);
        set(Role::sectionTint, mixed(ground_.card, brand_.primary, isDark_ ? 0.16 : 0.08));
        set(Role::surfaceTrack, tinted(ground_.track));
        set(Role::controlFill, ground_.control);
        set(Role::controlSelectedFill, ground_.selected);
        set(Role::controlStroke, mixed(ground_.control, ground_.text, 0.12));
        set(Role::accessibleStroke, readable(ground_.secondaryText, graphicContrast));
    }

    void addStatus() {
        set(Role::statusSuccess, readable(hex(0x2EA66B), graphicContrast));
        set(Role::statusSuccessForeground, readable(hex(0x2EA66B), textContrast));
        set(Role::statusWarning, readable(hex(0xD9930D), graphicContrast));
        set(Role::statusWarningForeground, readable(hex(0xD9930D), textContrast));
        set(Role::statusDanger, readable(hex(0xD64545), textContrast));
        set(Role::statusInfo, readable(hex(0x2F7BE5), textContrast));
        set(Role::statusNeutral, readable(hex(0x7A8292), graphicContrast));
        set(Role::statusNeutralForeground, readable(hex(0x7A8292), textContrast));
    }

    // The colour moved towards black or white by the least that reaches the contrast on every
    // surface. A hundred steps are finer than the eye.
    RingRGBColor readable(const RingRGBColor& color, double contrast) const {
        for (int step = 0; step < 100; ++step) {
            const RingRGBColor candidate = mixed(color, isDark_ ? white : black, step / 100.0);
            const bool isReached = std::ranges::all_of(WidgetPalette::surfaces, [&](Role surface) {
                return contrastRatio(candidate, at(surface)) >= contrast;
            });
            if (isReached) return candidate;
        }
        return ground_.text;
    }

    Brand brand_;
    bool isDark_;
    const Ground& ground_;
    Colors colors_{};
};

constexpr std::size_t skinCount = EnumTexts<WidgetSkin>::table.size();

/// Every colour of every skin, made at the first use.
const Colors& colorsOf(WidgetSkin skin, WidgetAppearance appearance) {
    static const std::vector<Colors> all = [] {
        std::vector<Colors> made;
        for (const auto& [each, name] : EnumTexts<WidgetSkin>::table) {
            made.push_back(Maker(each, WidgetAppearance::light).colors());
            made.push_back(Maker(each, WidgetAppearance::dark).colors());
        }
        return made;
    }();
    const std::size_t index = std::min(static_cast<std::size_t>(skin), skinCount - 1);
    return all[2 * index + (appearance == WidgetAppearance::dark ? 1 : 0)];
}

// The hue, 0...360, at full saturation made lighter or darker until it has the luminance.
RingRGBColor colorOfLuminance(double hue, double luminance) {
    const auto component = [&](double offset) {
        const double k = std::fmod(offset + hue / 60, 6.0);
        return std::clamp(std::abs(k - 3) - 1, 0.0, 1.0);
    };
    const RingRGBColor pure{component(0), component(4), component(2)};
    // Softened, since pure colours shout.
    const RingRGBColor soft = mixedColor({.from = pure, .to = {0.55, 0.55, 0.55}, .fraction = 0.3});
    double low = -1;
    double high = 1;
    RingRGBColor color = soft;
    for (int step = 0; step < 40; ++step) {
        const double middle = (low + high) / 2;
        color = mixedColor(
            {.from = soft, .to = middle < 0 ? black : white, .fraction = std::abs(middle)});
        (relativeLuminance(color) < luminance ? low : high) = middle;
    }
    return color;
}

}  // namespace

RingRGBColor WidgetPaletteSnapshot::color(WidgetPaletteRole role) const {
    return colorsOf(skin, appearance).at(static_cast<std::size_t>(role));
}

RingRGBColor WidgetPaletteSnapshot::heatmapColor(int level) const {
    const bool isDark = appearance == WidgetAppearance::dark;
    constexpr std::array<double, 3> light{0.38, 0.6, 0.8};
    constexpr std::array<double, 3> dark{0.22, 0.4, 0.62};
    const RingRGBColor secondary = color(Role::brandSecondary);
    if (level <= 0) return color(Role::surfaceTrack);
    if (level <= 3) {
        const double strength = (isDark ? dark : light).at(static_cast<std::size_t>(level - 1));
        return mixedColor(
            {.from = color(Role::surfaceTrack), .to = secondary, .fraction = strength});
    }
    return level == 4 ? secondary : color(Role::brandSecondaryStrong);
}

RingRGBColor WidgetPaletteSnapshot::seriesColor(int index) const {
    constexpr std::array<double, 8> hues{258, 200, 150, 36, 12, 328, 288, 88};
    constexpr std::array<double, 8> light{0.19, 0.08, 0.27, 0.13, 0.24, 0.06, 0.16, 0.1};
    constexpr std::array<double, 8> dark{0.3, 0.55, 0.22, 0.7, 0.36, 0.62, 0.26, 0.48};
    const bool isDark = appearance == WidgetAppearance::dark;
    if (index >= 9) return color(Role::statusNeutral);
    if (index == 8) return color(Role::dataComparison);
    const auto place = static_cast<std::size_t>(std::max(index, 0));
    return colorOfLuminance(hues.at(place), (isDark ? dark : light).at(place));
}

namespace WidgetPalette {

namespace {

/// The active skin, shared between threads.
struct WidgetSkinRuntime {
    std::mutex mutex;
    WidgetSkin skin = WidgetSkin::nebulaViolet;
};

WidgetSkinRuntime& runtime() {
    static WidgetSkinRuntime only;
    return only;
}

}  // namespace

void activate(WidgetSkin skin) {
    const std::lock_guard lock(runtime().mutex);
    runtime().skin = skin;
}

WidgetSkin activeSkin() {
    const std::lock_guard lock(runtime().mutex);
    return runtime().skin;
}

std::string_view activeSkinIdentifier() {
    return rawText(activeSkin());
}

}  // namespace WidgetPalette

}  // namespace vantry
