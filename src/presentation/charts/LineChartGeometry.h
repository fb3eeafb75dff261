#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "presentation/windows/Rect.h"
#include "records/DailyUsage.h"

namespace vantry {

/// Lines and their areas as points, so that painting computes nothing. y grows downwards.
namespace LineChartGeometry {

inline constexpr double usageTrendPadding = 8;  ///< above and below the line, pixels
inline constexpr double projectTrendPadding = 4;

/// A day's tokens; absent: not known.
using Tokens = std::span<const std::optional<std::int64_t>>;

struct Request {
    Tokens tokens;
    Size size;
    double verticalPadding = 0;
    /// What reaches the top; absent: the largest value.
    std::optional<std::int64_t> maximum = {};
};
/// Evenly over the width, the largest value at the top and 0 at the bottom, less the padding. A
/// value that is not known has no point. One value alone stands in the middle.
std::vector<std::optional<Point>> trendPoints(const Request& request);
std::vector<std::optional<Point>> usageTrendPoints(Tokens tokens, Size size);
std::vector<std::optional<Point>> projectTrendPoints(Tokens tokens, Size size);

struct PaceRequest {
    std::span<const HourlyTokenBucket> buckets;
    std::int64_t maximum = 0;  ///< of all curves that are drawn together
    Size size;
};
/// 24 hours over the width: a bucket's point stands at its hour.
std::vector<Point> usagePacePoints(const PaceRequest& request);

/// The pieces of the line between the values that are not known. A piece of one point is a dot.
std::vector<std::vector<Point>> linePath(std::span<const std::optional<Point>> points);

/// The area between a line and the baseline, closed. Empty of fewer than two points.
std::vector<Point> usagePacePath(std::span<const Point> points, double baseline);

/// Where the values that are not known lie, from the point before to the point after, for the
/// dotted baseline.
struct Span {
    double from = 0;
    double to = 0;

    friend bool operator==(const Span&, const Span&) = default;
};
std::vector<Span> gaps(std::span<const std::optional<Point>> points, double width);

/// At most three values above 0 for grid lines, round ones, the last one not below the maximum.
std::vector<std::int64_t> gridValues(std::int64_t maximum);

}  // namespace LineChartGeometry

}  // namespace vantry
