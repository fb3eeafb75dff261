#include "presentation/windows/WindowPlacement.h"

namespace vantry {

Rect MainWindowScreenPlacementPolicy::relocatedFrame(const WindowRelocation& window) {
    const Rect& target = window.targetVisibleFrame;
    if (!window.windowFrame) {
        const Size& size = window.preferredSize;
        return fittedInto(target, {target.right() - rightInset - size.width, target.y + topInset,
                                   size.width, size.height});
    }
    Rect frame = *window.windowFrame;
    const bool isOnTarget = target.contains(frame.centre());
    if (isOnTarget && target.contains(frame)) return frame;
    if (!isOnTarget) {
        const Rect source = window.sourceVisibleFrame.value_or(target);
        const double fromRight = source.right() - frame.right();
        const double fromTop = frame.y - source.y;
        frame.x = target.right() - fromRight - frame.width;
        frame.y = target.y + fromTop;
    }
    return fittedInto(target, frame);
}

Rect AuxiliaryWindowScreenPlacementPolicy::relocatedFrame(const WindowRelocation& window) {
    const Rect& target = window.targetVisibleFrame;
    if (window.windowFrame) return fittedInto(target, *window.windowFrame);
    const Size& size = window.preferredSize;
    const Point centre = target.centre();
    return fittedInto(
        target, {centre.x - size.width / 2, centre.y - size.height / 2, size.width, size.height});
}

}  // namespace vantry
