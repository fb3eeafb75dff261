#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "presentation/format/Action.h"
#include "presentation/status/StatusItemPresentation.h"

namespace vantry {

/// The square image of the tray, drawn anew for each size rather than scaled.
struct TrayImage {
    enum class Centre : std::uint8_t {
        empty,
        number,
        tick,         ///< all of the quota is there: three digits do not fit
        exclamation,  ///< used up, where the number would be 100
    };
    enum class Track : std::uint8_t { normal, danger };

    std::optional<double> fraction;  ///< 0...1 of the ring; absent: the track alone
    bool isClockwise = false;        ///< of the filled arc, from the top
    Track track = Track::normal;     ///< danger: used up
    Centre centre = Centre::empty;
    std::string centreText;  ///< of a number
    bool isThin = false;     ///< the ring leaves room for its centre
    bool isMoving = false;   ///< the light runs

    friend bool operator==(const TrayImage&, const TrayImage&) = default;
};

template <>
struct EnumTexts<TrayImage::Centre> {
    using Centre = TrayImage::Centre;
    static constexpr std::array table{
        std::pair{Centre::empty, std::string_view("empty")},
        std::pair{Centre::number, std::string_view("number")},
        std::pair{Centre::tick, std::string_view("tick")},
        std::pair{Centre::exclamation, std::string_view("exclamation")}};
};

template <>
struct EnumTexts<TrayImage::Track> {
    static constexpr std::array table{
        std::pair{TrayImage::Track::normal, std::string_view("normal")},
        std::pair{TrayImage::Track::danger, std::string_view("danger")}};
};

template <>
struct RecordFields<TrayImage> {
    static constexpr std::tuple list{
        field("fraction", &TrayImage::fraction),     field("isClockwise", &TrayImage::isClockwise),
        field("track", &TrayImage::track),           field("centre", &TrayImage::centre),
        field("centreText", &TrayImage::centreText), field("isThin", &TrayImage::isThin),
        field("isMoving", &TrayImage::isMoving)};
};

/// The sizes that desktops ask for, in pixels.
inline constexpr std::array trayImageSizes{16, 22, 24, 32, 44, 48, 64};

/// The ring in a square of that size, in pixels, with whole pixels for small ones.
struct TrayRing {
    double diameter = 0;  ///< of the outer edge
    double lineWidth = 0;
    double digitHeight = 0;  ///< of a number in the centre
};
TrayRing trayRing(int size, bool isThin);

struct TrayMenuEntry {
    std::string title;  ///< empty: a separator
    bool isEnabled = true;
    Action action;

    friend bool operator==(const TrayMenuEntry&, const TrayMenuEntry&) = default;
};

template <>
struct RecordFields<TrayMenuEntry> {
    static constexpr std::tuple list{field("title", &TrayMenuEntry::title),
                                     field("isEnabled", &TrayMenuEntry::isEnabled),
                                     field("action", &TrayMenuEntry::action)};
};

/// The image of what the wide form says. It moves where the user has switched that on.
TrayImage trayImage(const StatusItemPresentation& item, bool isAnimated);

/// The menu. Its first entry opens the window, which is what a desktop without clicks on the tray
/// does with a double click. `figures` are lines that can be read and not chosen.
std::vector<TrayMenuEntry> trayMenu(const std::vector<std::string>& figures,
                                    WidgetLanguage language);

}  // namespace vantry
