#pragma once

#include <string>

#include "platform/RecordFields.h"

namespace vantry {

/// One figure as it is shown. One that is not known has "--" in its place, at the same size, and
/// its tool tip says why.
struct Figure {
    std::string label;
    std::string value = "--";
    std::string tooltip = {};
    std::string provenance = {};      ///< where it comes from and how old it is
    std::string accessibleName = {};  ///< label, value and what else a screen reader says
    bool isAvailable = false;
    bool isStale = false;  ///< set in the secondary text colour

    friend bool operator==(const Figure&, const Figure&) = default;
};

template <>
struct RecordFields<Figure> {
    static constexpr std::tuple list{field("label", &Figure::label),
                                     field("value", &Figure::value),
                                     field("tooltip", &Figure::tooltip),
                                     field("provenance", &Figure::provenance),
                                     field("accessibleName", &Figure::accessibleName),
                                     field("isAvailable", &Figure::isAvailable),
                                     field("isStale", &Figure::isStale)};
};

}  // namespace vantry
