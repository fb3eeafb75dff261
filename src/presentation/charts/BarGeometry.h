#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "presentation/charts/TokenSplitBar.h"
#include "presentation/windows/Rect.h"

namespace vantry {

/// Bars and cells as rectangles. y grows downwards.
namespace BarGeometry {

/// A value that is not zero can be seen.
inline constexpr double shortestBar = 2;

/// One series of a stack: its tokens by day, absent where nothing was recorded.
using Series = std::span<const std::optional<std::int64_t>>;

struct StackRequest {
    std::span<const Series> series;  ///< the first at the bottom; as many days each
    Size size;
    double spacing = 2;  ///< between two days
    /// What reaches the top; absent: the largest day.
    std::optional<std::int64_t> maximum = {};
};

struct StackPiece {
    std::size_t day = 0;
    std::size_t series = 0;
    Rect rect;

    friend bool operator==(const StackPiece&, const StackPiece&) = default;
};

struct Stack {
    std::vector<StackPiece> pieces;
    std::vector<Rect> missing;  ///< days of which nothing is known: a dotted piece of the baseline
    std::int64_t maximum = 0;

    friend bool operator==(const Stack&, const Stack&) = default;
};
Stack stack(const StackRequest& request);

/// The day whose column is at `x`; nothing outside and without days.
struct ColumnHit {
    double x = 0;
    double width = 0;
    std::size_t days = 0;
};
std::optional<std::size_t> dayAt(const ColumnHit& hit);

/// A part of a horizontal bar, as fractions of its length.
struct Segment {
    enum class Kind : std::uint8_t { cachedInput, input, output, total };
    Kind kind = Kind::total;
    double from = 0;
    double to = 0;

    friend bool operator==(const Segment&, const Segment&) = default;
};
/// Cached input, other input and output of a split; the whole of a bare total; nothing otherwise.
std::vector<Segment> splitSegments(const TokenSplitBarPresentation& bar);

}  // namespace BarGeometry

namespace HeatmapGeometry {

struct Layout {
    Point origin;  ///< of the first cell
    double cellSize = 14;
    double spacing = 4;
    std::size_t weeks = 26;
};

Rect cell(const Layout& layout, std::size_t week, std::size_t weekday);
/// The space that all cells take.
Size size(const Layout& layout);

struct CellPlace {
    std::size_t week = 0;
    std::size_t weekday = 0;  ///< 0 for Monday

    friend bool operator==(const CellPlace&, const CellPlace&) = default;
};
/// The cell at the point, the space around it included; nothing outside.
std::optional<CellPlace> cellAt(const Layout& layout, const Point& point);

/// The largest cell, in whole pixels, with which the weeks fill the width; spacing is a quarter of
/// it.
Layout filling(double width, std::size_t weeks, const Point& origin);

}  // namespace HeatmapGeometry

}  // namespace vantry
