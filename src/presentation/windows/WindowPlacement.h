#pragma once

#include <optional>

#include "presentation/windows/Rect.h"

namespace vantry {

/// A window that is about to be shown on a screen. Frames are in screen coordinates, which are
/// negative on some screens; the visible frame is the screen without panels.
struct WindowRelocation {
    std::optional<Rect> windowFrame;         ///< as it was last; absent: shown for the first time
    std::optional<Rect> sourceVisibleFrame;  ///< of the screen that it was on
    Rect targetVisibleFrame;                 ///< of the screen that asks for it
    Size preferredSize = {};                 ///< of a first showing
};

namespace MainWindowScreenPlacementPolicy {

/// From the right and the top of a screen, for a first showing.
inline constexpr double rightInset = 24;
inline constexpr double topInset = 24;

/// The same frame on the same screen. On another one the same distances from its right and its
/// top. Fitted into the screen for this showing; what is stored stays.
Rect relocatedFrame(const WindowRelocation& window);

}  // namespace MainWindowScreenPlacementPolicy

namespace AuxiliaryWindowScreenPlacementPolicy {

/// A new window in the middle, one that was there moved into the screen; both fitted into it.
Rect relocatedFrame(const WindowRelocation& window);

}  // namespace AuxiliaryWindowScreenPlacementPolicy

namespace MainWindowReopenPolicy {

/// Whether starting the application again opens the main window: not while a popover is shown.
constexpr bool shouldOpenMainWindow(bool isPopoverShown) {
    return !isPopoverShown;
}

}  // namespace MainWindowReopenPolicy

}  // namespace vantry
