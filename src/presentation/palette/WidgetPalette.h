#pragma once

#include <array>
#include <cstdint>

#include "presentation/palette/Color.h"
#include "session/settings/Appearance.h"

namespace vantry {

enum class WidgetAppearance : std::uint8_t { light, dark };

template <>
struct EnumTexts<WidgetAppearance> {
    static constexpr std::array table{std::pair{WidgetAppearance::light, std::string_view("light")},
                                      std::pair{WidgetAppearance::dark, std::string_view("dark")}};
};

/// What a colour is for. Plain brand colours fill what is told in words beside it; whatever has to
/// be made out by itself has a role that reaches 3:1 (graphics) or 4.5:1 (text) on every surface.
enum class WidgetPaletteRole : std::uint8_t {
    // Brand: fills, graphics, text on a surface.
    brandPrimary,
    brandPrimaryStrong,      ///< graphic
    brandPrimaryForeground,  ///< text
    brandSecondary,
    brandSecondaryStrong,
    brandSecondaryForeground,  ///< text
    brandHighlight,
    // Data.
    dataAccent,
    dataAccentForeground,  ///< text
    dataAccentGraphic,     ///< lines and bars
    dataComparison,        ///< graphic: the dashed line
    dataOutput,            ///< graphic: output in a split bar
    dataZero,
    dataFlowParticle,  ///< the light over a filled arc
    // Status.
    statusSuccess,  ///< graphic
    statusSuccessForeground,
    statusWarning,  ///< graphic
    statusWarningForeground,
    statusDanger,   ///< graphic and text
    statusInfo,     ///< graphic and text
    statusNeutral,  ///< graphic
    statusNeutralForeground,
    // Surfaces.
    windowSurfaceFill,
    cardFill,
    cardStroke,  ///< a hairline, for the eye alone
    cardSurfaceFill,
    sectionFill,
    sectionStroke,
    sectionSurfaceFill,
    sectionTint,
    surfaceTrack,
    controlFill,
    controlSelectedFill,
    controlStroke,
    accessibleStroke,  ///< graphic: an edge that has to be seen
    // Text.
    text,
    secondaryText,
    onBrand,  ///< text on a button of brandPrimaryForeground
    // The ring: brandHighlight and brandSecondary where they can be made out.
    ringArcStart,
    ringArcEnd,
};

inline constexpr int widgetPaletteRoleCount = static_cast<int>(WidgetPaletteRole::ringArcEnd) + 1;

/// The colours of one skin in one appearance: a value, handed down to whatever draws, so that a
/// change of the skin elsewhere does not reach it.
struct WidgetPaletteSnapshot {
    WidgetSkin skin = WidgetSkin::nebulaViolet;
    WidgetAppearance appearance = WidgetAppearance::light;

    RingRGBColor color(WidgetPaletteRole role) const;

    /// Of a day of the heatmap, 0...5.
    RingRGBColor heatmapColor(int level) const;

    /// Of a model's band: 0...7, 8 for all others, 9 for the unknown. Neighbours differ in
    /// lightness, so that they can be told apart without their hue.
    RingRGBColor seriesColor(int index) const;
    static constexpr int seriesCount = 10;

    friend bool operator==(const WidgetPaletteSnapshot&, const WidgetPaletteSnapshot&) = default;
};

namespace WidgetPalette {

/// Makes the skin the one that drawing without an explicit one uses. Any thread.
void activate(WidgetSkin skin);
WidgetSkin activeSkin();
/// The stored text of the active skin.
std::string_view activeSkinIdentifier();

/// The surfaces that text and graphics lie on.
inline constexpr std::array surfaces{
    WidgetPaletteRole::windowSurfaceFill, WidgetPaletteRole::cardSurfaceFill,
    WidgetPaletteRole::sectionSurfaceFill, WidgetPaletteRole::controlFill,
    WidgetPaletteRole::controlSelectedFill};

}  // namespace WidgetPalette

}  // namespace vantry
