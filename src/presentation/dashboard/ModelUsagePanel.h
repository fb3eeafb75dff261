#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "presentation/SurfaceInput.h"
#include "presentation/dashboard/Panel.h"

namespace vantry {

/// One band of the stack and its row in the list.
struct ModelSeriesRow {
    std::string id;
    std::string name;
    std::int64_t colorIndex = 0;  ///< of the palette's series, 0...7; 8 others, 9 unknown
    std::string tokens;
    std::string share;                                     ///< "37%"
    std::optional<double> fraction;                        ///< of the total, 0...1
    std::vector<std::optional<std::int64_t>> tokensByDay;  ///< absent: nothing recorded
    bool isSelected = false;
    Action select;
    std::string tooltip;
    std::string accessibleName;

    friend bool operator==(const ModelSeriesRow&, const ModelSeriesRow&) = default;
};

template <>
struct RecordFields<ModelSeriesRow> {
    using Row = ModelSeriesRow;
    static constexpr std::tuple list{field("id", &Row::id),
                                     field("name", &Row::name),
                                     field("colorIndex", &Row::colorIndex),
                                     field("tokens", &Row::tokens),
                                     field("share", &Row::share),
                                     field("fraction", &Row::fraction),
                                     field("tokensByDay", &Row::tokensByDay),
                                     field("isSelected", &Row::isSelected),
                                     field("select", &Row::select),
                                     field("tooltip", &Row::tooltip),
                                     field("accessibleName", &Row::accessibleName)};
};

/// A day below the stack.
struct ModelDay {
    std::string label;
    std::string tooltip;  ///< the day with its total, or that nothing was recorded

    friend bool operator==(const ModelDay&, const ModelDay&) = default;
};

template <>
struct RecordFields<ModelDay> {
    static constexpr std::tuple list{field("label", &ModelDay::label),
                                     field("tooltip", &ModelDay::tooltip)};
};

struct ModelUsagePanel {
    std::string title;
    std::string rangePickerName;
    std::vector<PickerOption> ranges;
    std::vector<ModelDay> days;
    std::vector<ModelSeriesRow> series;  ///< the first is all models
    std::string listTitle;
    std::string gapsNote;
    std::string topNote;
    std::string attributionNote;
    std::optional<EmptyPanel> empty;
    Action showAll;
    Action back;
    std::string provenance;
    std::string accessibleName;

    friend bool operator==(const ModelUsagePanel&, const ModelUsagePanel&) = default;
};

template <>
struct RecordFields<ModelUsagePanel> {
    using Panel = ModelUsagePanel;
    static constexpr std::tuple list{field("title", &Panel::title),
                                     field("rangePickerName", &Panel::rangePickerName),
                                     field("ranges", &Panel::ranges),
                                     field("days", &Panel::days),
                                     field("series", &Panel::series),
                                     field("listTitle", &Panel::listTitle),
                                     field("gapsNote", &Panel::gapsNote),
                                     field("topNote", &Panel::topNote),
                                     field("attributionNote", &Panel::attributionNote),
                                     field("empty", &Panel::empty),
                                     field("showAll", &Panel::showAll),
                                     field("back", &Panel::back),
                                     field("provenance", &Panel::provenance),
                                     field("accessibleName", &Panel::accessibleName)};
};

ModelUsagePanel modelUsagePanel(const SurfaceInput& input);

}  // namespace vantry
