#pragma once

#include <array>
#include <cstdint>
#include <string_view>
#include <utility>

#include "platform/RecordFields.h"

namespace vantry {

/// Whether the windows are light or dark; `system` follows the desktop.
enum class WidgetThemeMode : std::uint8_t { system, light, dark };

template <>
struct EnumTexts<WidgetThemeMode> {
    static constexpr std::array table{
        std::pair{WidgetThemeMode::system, std::string_view("system")},
        std::pair{WidgetThemeMode::light, std::string_view("light")},
        std::pair{WidgetThemeMode::dark, std::string_view("dark")}};
};

/// The palettes to choose from.
enum class WidgetSkin : std::uint8_t {
    nebulaViolet,
    quantumAurora,
    glacierCeladon,
    sakuraBlush,
    obsidianGilt,
    abyssalAzure,
};

template <>
struct EnumTexts<WidgetSkin> {
    static constexpr std::array table{
        std::pair{WidgetSkin::nebulaViolet, std::string_view("nebula-violet")},
        std::pair{WidgetSkin::quantumAurora, std::string_view("quantum-aurora")},
        std::pair{WidgetSkin::glacierCeladon, std::string_view("glacier-celadon")},
        std::pair{WidgetSkin::sakuraBlush, std::string_view("sakura-blush")},
        std::pair{WidgetSkin::obsidianGilt, std::string_view("obsidian-gilt")},
        std::pair{WidgetSkin::abyssalAzure, std::string_view("abyssal-azure")}};
};

}  // namespace vantry
