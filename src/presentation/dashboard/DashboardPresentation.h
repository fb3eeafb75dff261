#pragma once

#include <string>
#include <vector>

#include "presentation/cards/QuotaCard.h"
#include "presentation/dashboard/Diagnostics.h"
#include "presentation/dashboard/ProjectsTab.h"
#include "presentation/dashboard/SkillsTab.h"
#include "presentation/dashboard/TasksTab.h"
#include "presentation/dashboard/UsageTab.h"

namespace vantry {

/// What stands above every tab.
struct DashboardHeader {
    std::vector<PickerOption> tabs;
    QuotaCard quota;
    Action settings;
    std::string zoneMessage;  ///< of a switch of the statistics zone

    friend bool operator==(const DashboardHeader&, const DashboardHeader&) = default;
};

template <>
struct RecordFields<DashboardHeader> {
    using Header = DashboardHeader;
    static constexpr std::tuple list{field("tabs", &Header::tabs), field("quota", &Header::quota),
                                     field("settings", &Header::settings),
                                     field("zoneMessage", &Header::zoneMessage)};
};

/// Every tab, since a change of the tab must cost nothing. A face that shows one may make that one
/// alone with its own function.
struct DashboardPresentation {
    DashboardHeader header;
    std::string diagnosticsTitle;
    std::vector<DiagnosticItem> diagnostics;
    TasksTab tasks;
    UsageTab usage;
    ProjectsTab projects;
    SkillsTab skills;

    friend bool operator==(const DashboardPresentation&, const DashboardPresentation&) = default;
};

template <>
struct RecordFields<DashboardPresentation> {
    using Dashboard = DashboardPresentation;
    static constexpr std::tuple list{field("header", &Dashboard::header),
                                     field("diagnosticsTitle", &Dashboard::diagnosticsTitle),
                                     field("diagnostics", &Dashboard::diagnostics),
                                     field("tasks", &Dashboard::tasks),
                                     field("usage", &Dashboard::usage),
                                     field("projects", &Dashboard::projects),
                                     field("skills", &Dashboard::skills)};
};

DashboardHeader dashboardHeader(const SurfaceInput& input);
DashboardPresentation dashboard(const SurfaceInput& input);

}  // namespace vantry
