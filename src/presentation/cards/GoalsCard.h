#pragma once

#include <optional>
#include <string>

#include "presentation/SurfaceInput.h"
#include "presentation/format/Figure.h"

namespace vantry {

/// One goal with how far it is reached.
struct GoalRow {
    std::string label;
    std::string value = "--";        ///< "1.2M / 2.0M", "1.2M" without a goal, or why there is none
    std::string note;                ///< "Goal not set"
    std::optional<double> fraction;  ///< of the bar, 0...1; absent: an empty track
    bool isReached = false;
    bool isAvailable = false;
    std::string tooltip;
    std::string accessibleName;

    friend bool operator==(const GoalRow&, const GoalRow&) = default;
};

template <>
struct RecordFields<GoalRow> {
    using Row = GoalRow;
    static constexpr std::tuple list{
        field("label", &Row::label),         field("value", &Row::value),
        field("note", &Row::note),           field("fraction", &Row::fraction),
        field("isReached", &Row::isReached), field("isAvailable", &Row::isAvailable),
        field("tooltip", &Row::tooltip),     field("accessibleName", &Row::accessibleName)};
};

/// The user's goals and the plan's next renewal.
struct GoalsCard {
    std::string title;
    GoalRow today;
    GoalRow week;
    Figure renewal;
    std::string provenance;

    friend bool operator==(const GoalsCard&, const GoalsCard&) = default;
};

template <>
struct RecordFields<GoalsCard> {
    static constexpr std::tuple list{
        field("title", &GoalsCard::title), field("today", &GoalsCard::today),
        field("week", &GoalsCard::week), field("renewal", &GoalsCard::renewal),
        field("provenance", &GoalsCard::provenance)};
};

GoalsCard goalsCard(const SurfaceInput& input);

/// Whether every day of the calendar week up to the trend's last one is known: only then does the
/// week have a sum.
bool weekHistoryAvailable(const UsageTrend& trend);

}  // namespace vantry
