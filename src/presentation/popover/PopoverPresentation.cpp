#include "presentation/popover/PopoverPresentation.h"

#include "presentation/words/PopoverWords.h"
#include "presentation/words/QuotaEarlyRecoveryCopy.h"
#include "presentation/words/QuotaWords.h"

namespace vantry {

PopoverPresentation popover(const SurfaceInput& input) {
    const auto word = [&](const BilingualText& text) {
        return std::string(text.in(input.settings.language));
    };
    const auto openTab = [&](DashboardTab tab) {
        return Action{.kind = ActionKind::openDashboard,
                      .target = std::string(rawText(tab)),
                      .title = word(PopoverWords::openVantry)};
    };
    const std::string runtime(displayName(input.state.selectedRuntimeScope));
    const std::string openRuntime = inWords(PopoverWords::open, input.settings.language, runtime);
    return {.quota = quotaCard(input),
            .quotaAction = openTab(DashboardTab::usage),
            .hourly = hourlyUsageCard(input),
            .hourlyAction = openTab(DashboardTab::usage),
            .goals = goalsCard(input),
            .goalsAction = {.kind = ActionKind::openSettings,
                            .target = "goals",
                            .title = word(PopoverWords::settings)},
            .month = heatmapCard(input, HeatmapDetail::popover),
            .monthAction = openTab(DashboardTab::usage),
            .actions = {{.kind = ActionKind::openDashboard,
                         .target = std::string(rawText(DashboardTab::tasks)),
                         .title = openRuntime},
                        {.kind = ActionKind::openDashboard, .title = word(PopoverWords::dashboard)},
                        {.kind = ActionKind::openSettings, .title = word(PopoverWords::settings)},
                        {.kind = ActionKind::quit, .title = word(PopoverWords::quit)}},
            .notEnoughSpace = word(PopoverWords::notEnoughSpace),
            .openInstead = {.kind = ActionKind::openDashboard,
                            .title = word(PopoverWords::openVantry)}};
}

QuotaRecoveryPresentation quotaRecovery(RuntimeQuotaWindowKind windowKind,
                                        WidgetLanguage language) {
    const auto word = [&](const BilingualText& text) { return std::string(text.in(language)); };
    const bool isFiveHour = windowKind == RuntimeQuotaWindowKind::fiveHour;
    QuotaRecoveryPresentation shown{
        .title = word(QuotaEarlyRecoveryCopy::title),
        .body = {word(QuotaEarlyRecoveryCopy::bodyLine1), word(QuotaEarlyRecoveryCopy::bodyLine2)},
        .window = word(isFiveHour ? QuotaWords::fiveHourQuota : QuotaWords::sevenDayQuota),
        .dismiss = {.kind = ActionKind::dismissRecovery,
                    .title = word(PopoverWords::dismissRecovery)}};
    shown.accessibleName = shown.title + " " + shown.body[0] + " " + shown.body[1];
    return shown;
}

}  // namespace vantry
