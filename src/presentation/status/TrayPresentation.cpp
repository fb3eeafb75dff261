#include "presentation/status/TrayPresentation.h"

#include <algorithm>
#include <cmath>

#include "presentation/words/StatusItemWords.h"

namespace vantry {

TrayImage trayImage(const StatusItemPresentation& item, bool isAnimated) {
    const bool isThin = item.mode == StatusItemDisplayMode::classic;
    TrayImage image{.isClockwise = item.quotaMode == QuotaDisplayMode::used, .isThin = isThin};
    const auto quotas = item.quotaMetrics();
    if (quotas.empty() || !quotas.front().isAvailable) return image;
    const StatusItemMetricPresentation& quota = quotas.front();
    const std::string usedUp = item.quotaMode == QuotaDisplayMode::used ? "100" : "0";
    using Centre = TrayImage::Centre;
    if (quota.compactValue == usedUp) {
        image.track = TrayImage::Track::danger;
        if (isThin) image.centre = usedUp == "0" ? Centre::number : Centre::exclamation;
    } else {
        image.fraction = quota.fraction;
        image.isMoving = isAnimated;
        if (isThin) image.centre = quota.compactValue == "100" ? Centre::tick : Centre::number;
    }
    if (image.centre == Centre::number) image.centreText = quota.compactValue;
    return image;
}

TrayRing trayRing(int size, bool isThin) {
    const double side = size;
    const double inset = std::max(1.0, std::round(side / 22));
    const double share = isThin ? 0.09 : 0.19;
    const double lineWidth = std::max(isThin ? 1.5 : 3.0, std::round(side * share * 2) / 2);
    const double diameter = side - 2 * inset;
    return {.diameter = diameter,
            .lineWidth = lineWidth,
            .digitHeight = std::floor((diameter - 2 * lineWidth) * 0.48)};
}

std::vector<TrayMenuEntry> trayMenu(const std::vector<std::string>& figures,
                                    WidgetLanguage language) {
    const auto entry = [&](const BilingualText& words, ActionKind kind) {
        const std::string title(words.in(language));
        return TrayMenuEntry{.title = title, .action = {.kind = kind, .title = title}};
    };
    const TrayMenuEntry separator{.isEnabled = false};
    std::vector<TrayMenuEntry> entries{
        entry(StatusItemWords::openVantry, ActionKind::openDashboard), separator};
    for (const std::string& figure : figures) {
        entries.push_back({.title = figure, .isEnabled = false});
    }
    if (!figures.empty()) entries.push_back(separator);
    entries.push_back(entry(StatusItemWords::refreshNow, ActionKind::refresh));
    entries.push_back(entry(StatusItemWords::settings, ActionKind::openSettings));
    entries.push_back(separator);
    entries.push_back(entry(StatusItemWords::quit, ActionKind::quit));
    return entries;
}

}  // namespace vantry
