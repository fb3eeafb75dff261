#include "presentation/Surfaces.h"

#include "presentation/format/TokenFormatter.h"
#include "presentation/words/StatusItemWords.h"

namespace vantry {

TrayPresentation tray(const SurfaceInput& input) {
    const RuntimeUsageSnapshot* runtime = input.runtime();
    StatusItemSourceSnapshot source =
        StatusItemSourceSnapshot::unavailable(input.state.selectedRuntimeScope);
    if (runtime != nullptr) source = StatusItemSourceSnapshot::of(summary(*runtime, input.now));
    // Yesterday's tokens are not today's.
    if (input.localOfToday() == nullptr) source.todayTokens.reset();
    const auto& shortcut = input.settings.mainWindowShortcut;
    const bool isRegistered = shortcut && !input.settings.mainWindowShortcutRegistrationFailed;
    TrayPresentation result{
        .item = StatusItemPresentationBuilder::build(
            {.source = source,
             .preferences = input.settings.statusItemPreferences,
             .language = input.settings.language,
             .shortcutLabel = isRegistered ? shortcut->displayLabel() : std::string()})};
    result.image = trayImage(result.item, input.settings.animatesTrayImage);
    std::vector<std::string> figures = quotaCard(input).menuLines();
    const Wording words = input.wording();
    figures.push_back(
        source.todayTokens
            ? words(StatusItemWords::todayTokens, TokenFormatter::format(source.todayTokens))
            : words(StatusItemWords::todayTokens, words(StatusItemWords::noRecords)));
    result.menu = trayMenu(figures, input.settings.language);
    return result;
}

Surfaces surfaces(const SurfaceInput& input) {
    return {.tray = tray(input),
            .popover = popover(input),
            .dashboard = dashboard(input),
            .settings = settingsPresentation(input),
            .disclosure = privacyDisclosure(input.machine, input.settings.language),
            .recovery =
                quotaRecovery(selectedQuotaWindow(input.snapshot()).kind, input.settings.language)};
}

}  // namespace vantry
