#pragma once

#include <string>
#include <vector>

#include "presentation/format/Action.h"
#include "presentation/format/Figure.h"

namespace vantry {

/// One option of a picker.
struct PickerOption {
    std::string title;
    bool isSelected = false;
    bool isEnabled = true;
    Action action;  ///< what choosing it does, with its explanation as the title

    friend bool operator==(const PickerOption&, const PickerOption&) = default;
};

template <>
struct RecordFields<PickerOption> {
    static constexpr std::tuple list{
        field("title", &PickerOption::title), field("isSelected", &PickerOption::isSelected),
        field("isEnabled", &PickerOption::isEnabled), field("action", &PickerOption::action)};
};

/// What stands in a panel that has nothing to show.
struct EmptyPanel {
    std::string title;
    std::string reason;  ///< what would bring something

    friend bool operator==(const EmptyPanel&, const EmptyPanel&) = default;
};

template <>
struct RecordFields<EmptyPanel> {
    static constexpr std::tuple list{field("title", &EmptyPanel::title),
                                     field("reason", &EmptyPanel::reason)};
};

}  // namespace vantry
