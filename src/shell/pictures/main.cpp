#include <QDir>
#include <QGuiApplication>
#include <QImage>
#include <cstdio>

#include "presentation/Surfaces.h"
#include "presentation/charts/BarGeometry.h"
#include "presentation/charts/LineChartGeometry.h"
#include "presentation/samples/SampleStates.h"
#include "presentation/words/SettingsWords.h"
#include "shell/pictures/Painting.h"

using namespace vantry;

namespace {

using Role = WidgetPaletteRole;

QString text(std::string_view words) {
    return QString::fromUtf8(words.data(), static_cast<qsizetype>(words.size()));
}

/// One skin in one appearance: surfaces, words, ring, heatmap, line, stack, marks.
class PaletteSheet {
  public:
    static constexpr int width = 420;
    static constexpr int height = 300;

    PaletteSheet(QPainter& painter, const WidgetPaletteSnapshot& palette)
        : painter_(painter), palette_(palette) {}

    void paint() {
        fill(Role::windowSurfaceFill, {0, 0, width, height}, 0);
        fill(Role::cardSurfaceFill, {12, 12, width - 24, height - 24}, 12);
        const BilingualText name = SettingsWords::skinName(palette_.skin);
        write(Role::text, {28, 22, 300, 24}, text(name.zh) + "  " + text(name.en), 15, true);
        write(Role::secondaryText, {28, 44, 300, 20}, "account, 14:05 · 本机，14:05", 11);
        paintRing(
            painter_,
            statusRing(
                {.rect = {28, 72, 64, 64}, .lineWidth = 8, .fraction = 0.77, .flowPhase = 0.7}),
            palette_);
        write(Role::text, {28, 72, 64, 64}, "77", 18, true, Qt::AlignCenter);
        double y = 70;
        for (const auto& [role, words] :
             {std::pair{Role::brandPrimaryForeground, "Open Vantry"},
              std::pair{Role::brandSecondaryForeground, "+18% vs avg"},
              std::pair{Role::statusSuccessForeground, "Healthy pace"},
              std::pair{Role::statusWarningForeground, "Usage ahead of pace"},
              std::pair{Role::statusDanger, "Limit reached"}}) {
            write(role, {106, y, 130, 16}, words, 11);
            y += 15;
        }
        button();
        heatmap();
        line();
        stack();
    }

  private:
    void fill(Role role, const QRectF& rect, double radius) {
        painter_.setPen(Qt::NoPen);
        painter_.setBrush(qColor(palette_.color(role)));
        painter_.drawRoundedRect(rect, radius, radius);
    }

    void write(Role role, const QRectF& rect, const QString& words, int size, bool isBold = false,
               int alignment = Qt::AlignLeft | Qt::AlignVCenter) {
        QFont font = painter_.font();
        font.setPixelSize(size);
        font.setBold(isBold);
        painter_.setFont(font);
        painter_.setPen(qColor(palette_.color(role)));
        painter_.drawText(rect, alignment, words);
    }

    void button() {
        fill(Role::brandPrimaryForeground, {250, 72, 70, 26}, 8);
        write(Role::onBrand, {250, 72, 70, 26}, "Continue", 11, true, Qt::AlignCenter);
        fill(Role::controlFill, {326, 72, 70, 26}, 8);
        write(Role::text, {326, 72, 70, 26}, "Settings", 11, false, Qt::AlignCenter);
        fill(Role::surfaceTrack, {250, 110, 146, 6}, 3);
        fill(Role::dataAccentGraphic, {250, 110, 90, 6}, 3);
        fill(Role::surfaceTrack, {250, 124, 146, 6}, 3);
        fill(Role::dataOutput, {250, 124, 60, 6}, 3);
    }

    void heatmap() {
        const HeatmapGeometry::Layout layout{.origin = {28, 150}, .weeks = 11};
        for (std::size_t week = 0; week < 11; ++week) {
            for (std::size_t day = 0; day < 7; ++day) {
                const int level = static_cast<int>((week * 5 + day * 3 + week * day) % 6);
                painter_.setPen(Qt::NoPen);
                painter_.setBrush(qColor(palette_.heatmapColor(level)));
                painter_.drawRoundedRect(qRect(HeatmapGeometry::cell(layout, week, day)), 3, 3);
            }
        }
    }

    void line() {
        const std::vector<std::optional<std::int64_t>> tokens{4, 9, 6, {}, 3, 8, 7, 2, 5};
        const auto points = LineChartGeometry::usageTrendPoints(tokens, {150, 56});
        painter_.save();
        painter_.translate(246, 146);
        painter_.setBrush(Qt::NoBrush);
        painter_.setPen(QPen(qColor(palette_.color(Role::dataAccentGraphic)), 2));
        for (const auto& piece : LineChartGeometry::linePath(points)) {
            for (std::size_t i = 1; i < piece.size(); ++i) {
                painter_.drawLine(QPointF(piece[i - 1].x, piece[i - 1].y),
                                  QPointF(piece[i].x, piece[i].y));
            }
        }
        painter_.setPen(QPen(qColor(palette_.color(Role::dataComparison)), 1.5, Qt::DashLine));
        painter_.drawLine(QPointF(0, 40), QPointF(150, 14));
        painter_.restore();
    }

    void stack() {
        std::vector<std::vector<std::optional<std::int64_t>>> tokens(
            WidgetPaletteSnapshot::seriesCount);
        for (std::size_t series = 0; series < tokens.size(); ++series) {
            for (std::size_t day = 0; day < 12; ++day)
                tokens[series].emplace_back(1 + (series + day) % 3);
        }
        const std::vector<BarGeometry::Series> series(tokens.begin(), tokens.end());
        painter_.save();
        painter_.translate(246, 206);
        painter_.setPen(Qt::NoPen);
        for (const auto& piece : BarGeometry::stack({.series = series, .size = {150, 66}}).pieces) {
            painter_.setBrush(qColor(palette_.seriesColor(static_cast<int>(piece.series))));
            painter_.drawRect(qRect(piece.rect));
        }
        painter_.restore();
    }

    QPainter& painter_;
    const WidgetPaletteSnapshot& palette_;
};

QImage palettes() {
    constexpr int scale = 2;
    const auto& skins = EnumTexts<WidgetSkin>::table;
    QImage image(2 * PaletteSheet::width * scale,
                 static_cast<int>(skins.size()) * PaletteSheet::height * scale,
                 QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(scale);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    int row = 0;
    for (const auto& [skin, name] : skins) {
        for (const auto appearance : {WidgetAppearance::light, WidgetAppearance::dark}) {
            painter.save();
            painter.translate(appearance == WidgetAppearance::dark ? PaletteSheet::width : 0,
                              row * PaletteSheet::height);
            PaletteSheet(painter, {skin, appearance}).paint();
            painter.restore();
        }
        ++row;
    }
    return image;
}

/// The tray's image of each size, for some states in both modes, on a light and a dark panel.
QImage trays() {
    constexpr int scale = 3;
    constexpr int rowHeight = 70;
    constexpr int half = 6 * rowHeight;
    constexpr std::array states{"all-good", "quota-used-up", "first-run"};
    QImage image(360 * scale, 2 * half * scale, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(scale);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    double y = 0;
    for (const auto appearance : {WidgetAppearance::light, WidgetAppearance::dark}) {
        const WidgetPaletteSnapshot palette{WidgetSkin::nebulaViolet, appearance};
        painter.fillRect(QRectF(0, y, 360, half), qColor(palette.color(Role::windowSurfaceFill)));
        for (const char* name : states) {
            for (const auto mode :
                 {StatusItemDisplayMode::minimal, StatusItemDisplayMode::classic}) {
                SampleState state = *sampleState(name);
                state.settings.statusItemPreferences.displayMode = mode;
                const TrayImage tray = vantry::tray(state.input()).image;
                double x = 6;
                for (const int size : trayImageSizes) {
                    const TrayRing ring = trayRing(size, tray.isThin);
                    const double inset = (size - ring.diameter) / 2;
                    const Rect rect{x + inset, y + 2 + inset, ring.diameter, ring.diameter};
                    paintRing(painter,
                              statusRing({.rect = rect,
                                          .lineWidth = ring.lineWidth,
                                          .fraction = tray.fraction,
                                          .isClockwise = tray.isClockwise,
                                          .isUsedUp = tray.track == TrayImage::Track::danger}),
                              palette);
                    QFont font = painter.font();
                    font.setPixelSize(static_cast<int>(ring.digitHeight * 1.35));
                    font.setBold(true);
                    painter.setFont(font);
                    painter.setPen(qColor(palette.color(Role::text)));
                    painter.drawText(qRect(rect), Qt::AlignCenter, text(tray.centreText));
                    x += size + 8;
                }
                y += rowHeight;
            }
        }
    }
    return image;
}

}  // namespace

/// Draws what is shown into the folder that is named, with fixed figures and a fixed clock.
int main(int argc, char** argv) {
    const QGuiApplication application(argc, argv);
    const QDir folder(argc > 1 ? argv[1] : "pictures");
    if (!folder.mkpath(".")) {
        std::fprintf(stderr, "vantry-pictures: cannot make %s\n", qPrintable(folder.path()));
        return 1;
    }
    for (const auto& [name, image] :
         {std::pair{"palettes.png", palettes()}, std::pair{"tray.png", trays()}}) {
        const QString file = folder.filePath(name);
        if (!image.save(file)) {
            std::fprintf(stderr, "vantry-pictures: cannot write %s\n", qPrintable(file));
            return 1;
        }
        std::printf("%s\n", qPrintable(file));
    }
    return 0;
}
