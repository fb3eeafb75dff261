#pragma once

#include <QColor>
#include <QPainter>

#include "presentation/charts/StatusRing.h"
#include "presentation/palette/WidgetPalette.h"

namespace vantry {

inline QColor qColor(const RingRGBColor& color, double alpha = 1) {
    return QColor::fromRgbF(static_cast<float>(color.red), static_cast<float>(color.green),
                            static_cast<float>(color.blue), static_cast<float>(alpha));
}

inline QRectF qRect(const Rect& rect) {
    return {rect.x, rect.y, rect.width, rect.height};
}

/// Draws the ring as its numbers say, in the palette's colours.
void paintRing(QPainter& painter, const StatusRing& ring, const WidgetPaletteSnapshot& palette);

}  // namespace vantry
