#include "shell/pictures/Painting.h"

#include <QPainterPath>
#include <cmath>

namespace vantry {

namespace {

RingRGBColor colorOf(RingColor role, const WidgetPaletteSnapshot& palette) {
    using Role = WidgetPaletteRole;
    switch (role) {
        case RingColor::track:
            return palette.color(Role::text);
        case RingColor::danger:
            return palette.color(Role::statusDanger);
        case RingColor::arcStart:
            return palette.color(Role::ringArcStart);
        case RingColor::arcEnd:
            return palette.color(Role::ringArcEnd);
        case RingColor::particle:
            return palette.color(Role::dataFlowParticle);
        case RingColor::particleDark:
            break;
    }
    return palette.color(Role::brandSecondaryStrong);
}

QColor mixOf(const RingColorMix& mix, const WidgetPaletteSnapshot& palette) {
    return qColor(mixedColor({.from = colorOf(mix.from, palette),
                              .to = colorOf(mix.to, palette),
                              .fraction = mix.fraction}),
                  mix.alpha);
}

class RingPainter {
  public:
    RingPainter(QPainter& painter, const StatusRing& ring, const WidgetPaletteSnapshot& palette)
        : painter_(painter), ring_(ring), palette_(palette) {}

    void paint() {
        paint(ring_.arcs, ring_.dots);
        if (ring_.flowArcs.empty() && ring_.flowDots.empty()) return;
        painter_.save();
        QPainterPath clip;
        clip.addEllipse(qRect(ring_.flowClip));
        painter_.setClipPath(clip);
        paint(ring_.flowArcs, ring_.flowDots);
        painter_.restore();
    }

  private:
    void paint(const std::vector<RingArc>& arcs, const std::vector<RingDot>& dots) {
        constexpr double unit = 16;  // of an angle, for Qt
        const QRectF circle(ring_.center.x - ring_.radius, ring_.center.y - ring_.radius,
                            2 * ring_.radius, 2 * ring_.radius);
        painter_.setBrush(Qt::NoBrush);
        for (const RingArc& arc : arcs) {
            painter_.setPen(QPen(mixOf(arc.color, palette_), arc.lineWidth, Qt::SolidLine,
                                 arc.isRound ? Qt::RoundCap : Qt::FlatCap));
            // Pieces with flat ends overlap a little, or their edges would show.
            const double overlap =
                arc.isRound ? 0 : std::copysign(0.6, arc.endAngle - arc.startAngle);
            painter_.drawArc(circle, static_cast<int>(arc.startAngle * unit),
                             static_cast<int>((arc.endAngle - arc.startAngle + overlap) * unit));
        }
        painter_.setPen(Qt::NoPen);
        for (const RingDot& dot : dots) {
            painter_.setBrush(mixOf(dot.color, palette_));
            painter_.drawEllipse(QPointF(dot.center.x, dot.center.y), dot.diameter / 2,
                                 dot.diameter / 2);
        }
    }

    QPainter& painter_;
    const StatusRing& ring_;
    const WidgetPaletteSnapshot& palette_;
};

}  // namespace

void paintRing(QPainter& painter, const StatusRing& ring, const WidgetPaletteSnapshot& palette) {
    RingPainter(painter, ring, palette).paint();
}

}  // namespace vantry
