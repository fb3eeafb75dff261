#pragma once

#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "platform/RecordFields.h"
#include "refresh/ObserverList.h"
#include "statistics/ModelUsageTrend.h"
#include "statistics/ProjectTimeframe.h"
#include "statistics/UsageTrendRange.h"

namespace vantry {

enum class DashboardTab : std::uint8_t { tasks, usage, projects, skills };

template <>
struct EnumTexts<DashboardTab> {
    static constexpr std::array table{
        std::pair{DashboardTab::tasks, std::string_view("tasks")},
        std::pair{DashboardTab::usage, std::string_view("usage")},
        std::pair{DashboardTab::projects, std::string_view("projects")},
        std::pair{DashboardTab::skills, std::string_view("skills")}};
};

template <>
struct EnumTexts<ProjectTimeframe> {
    static constexpr std::array table{
        std::pair{ProjectTimeframe::today, std::string_view("today")},
        std::pair{ProjectTimeframe::recent, std::string_view("recent")},
        std::pair{ProjectTimeframe::all, std::string_view("all")}};
};

template <>
struct EnumTexts<ProjectDetailTimeframe> {
    static constexpr std::array table{
        std::pair{ProjectDetailTimeframe::today, std::string_view("today")},
        std::pair{ProjectDetailTimeframe::sevenDays, std::string_view("sevenDays")},
        std::pair{ProjectDetailTimeframe::thirtyDays, std::string_view("thirtyDays")}};
};

/// A place in a list that the window scrolls to.
struct DashboardScrollTarget {
    enum class Kind : std::uint8_t { toolRow, skillRow, skillsTop };
    Kind kind = Kind::skillsTop;
    std::string id = {};

    friend bool operator==(const DashboardScrollTarget&, const DashboardScrollTarget&) = default;
};

/// What of the dashboard is open and selected.
struct DashboardNavigation {
    DashboardTab selectedTab = DashboardTab::usage;
    UsageTrendRange usageTrendRange = UsageTrendRange::thirtyDays;
    bool isShowingModelUsage = false;
    ModelUsageRange modelUsageRange = ModelUsageRange::thirtyDays;
    std::optional<std::string> selectedModelUsageID;
    ProjectTimeframe projectTimeframe = ProjectTimeframe::recent;
    std::optional<std::string> selectedProjectID;
    ProjectDetailTimeframe projectDetailTimeframe = ProjectDetailTimeframe::thirtyDays;
    std::string projectFilter;  ///< part of a name or a path
    std::optional<std::string> unfoldedToolID;
    std::optional<std::string> unfoldedSkillID;

    friend bool operator==(const DashboardNavigation&, const DashboardNavigation&) = default;
};

/// The one holder of it, outliving the window. The main thread.
class DashboardNavigationState {
  public:
    const DashboardNavigation& value() const { return value_; }

    void change(DashboardNavigation value) {
        if (value == value_) return;
        value_ = std::move(value);
        observers_.tell(value_);
    }

    [[nodiscard]] Subscription observe(std::function<void(const DashboardNavigation&)> observer) {
        return observers_.add(std::move(observer));
    }

  private:
    DashboardNavigation value_;
    ObserverList<DashboardNavigation> observers_;
};

}  // namespace vantry
