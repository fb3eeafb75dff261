#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "presentation/SurfaceInput.h"

namespace vantry {

/// One hour of the two curves.
struct HourPoint {
    std::int64_t hour = 0;                ///< 0 to 23
    std::optional<std::int64_t> today;    ///< tokens up to its end; absent ahead of now
    std::optional<std::int64_t> average;  ///< of the seven days before
    std::string tooltip;

    friend bool operator==(const HourPoint&, const HourPoint&) = default;
};

template <>
struct RecordFields<HourPoint> {
    static constexpr std::tuple list{
        field("hour", &HourPoint::hour), field("today", &HourPoint::today),
        field("average", &HourPoint::average), field("tooltip", &HourPoint::tooltip)};
};

/// Today's tokens against the seven days before, on one scale.
struct HourlyUsageCard {
    std::string title;
    std::string header;            ///< " · Today 1.2M / Avg 1.0M"
    std::string todayValue;        ///< "1.2M"
    std::string comparison;        ///< "+18% vs avg"
    std::vector<HourPoint> hours;  ///< 24, or none
    std::int64_t maximum = 0;      ///< of both curves
    std::string emptyText;         ///< in the place of the curves
    std::string provenance;
    bool isStale = false;
    std::string accessibleName;

    friend bool operator==(const HourlyUsageCard&, const HourlyUsageCard&) = default;
};

template <>
struct RecordFields<HourlyUsageCard> {
    using Card = HourlyUsageCard;
    static constexpr std::tuple list{
        field("title", &Card::title),           field("header", &Card::header),
        field("todayValue", &Card::todayValue), field("comparison", &Card::comparison),
        field("hours", &Card::hours),           field("maximum", &Card::maximum),
        field("emptyText", &Card::emptyText),   field("provenance", &Card::provenance),
        field("isStale", &Card::isStale),       field("accessibleName", &Card::accessibleName)};
};

HourlyUsageCard hourlyUsageCard(const SurfaceInput& input);

}  // namespace vantry
