#include "presentation/dashboard/DashboardPresentation.h"

#include <array>
#include <utility>

#include "presentation/words/DashboardWords.h"
#include "presentation/words/DiagnosticsWords.h"
#include "presentation/words/StatusWords.h"

namespace vantry {

DashboardHeader dashboardHeader(const SurfaceInput& input) {
    constexpr std::array tabs{std::pair{DashboardTab::tasks, DashboardWords::tasksTab},
                              std::pair{DashboardTab::usage, DashboardWords::usageTab},
                              std::pair{DashboardTab::projects, DashboardWords::projectsTab},
                              std::pair{DashboardTab::skills, DashboardWords::skillsTab}};
    const WidgetLanguage language = input.settings.language;
    DashboardHeader header{
        .quota = quotaCard(input),
        .settings = {.kind = ActionKind::openSettings,
                     .title = std::string(DashboardWords::settings.in(language))}};
    for (const auto& [tab, title] : tabs) {
        header.tabs.push_back({.title = std::string(title.in(language)),
                               .isSelected = tab == input.navigation.selectedTab,
                               .action = {.kind = ActionKind::openDashboard,
                                          .target = std::string(rawText(tab)),
                                          .title = std::string(title.in(language))}});
    }
    if (const auto& transition = input.state.statisticsTransition) {
        header.zoneMessage = statisticsTransitionMessage(*transition, language);
    }
    return header;
}

DashboardPresentation dashboard(const SurfaceInput& input) {
    return {.header = dashboardHeader(input),
            .diagnosticsTitle = std::string(DiagnosticsWords::title.in(input.settings.language)),
            .diagnostics = environmentDiagnostics(input),
            .tasks = tasksTab(input),
            .usage = usageTab(input),
            .projects = projectsTab(input),
            .skills = skillsTab(input)};
}

}  // namespace vantry
