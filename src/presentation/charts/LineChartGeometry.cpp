#include "presentation/charts/LineChartGeometry.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace vantry::LineChartGeometry {

namespace {

double xOf(std::size_t index, std::size_t count, double width) {
    if (count < 2) return width / 2;
    return width * static_cast<double>(index) / static_cast<double>(count - 1);
}

// In doubles, since a value times a height need not fit an integer.
double yOf(std::int64_t tokens, std::int64_t maximum, double height, double padding) {
    const double room = std::max(height - 2 * padding, 0.0);
    const double share =
        maximum > 0
            ? std::clamp(static_cast<double>(tokens) / static_cast<double>(maximum), 0.0, 1.0)
            : 0;
    return height - padding - room * share;
}

}  // namespace

std::vector<std::optional<Point>> trendPoints(const Request& request) {
    std::int64_t maximum = request.maximum.value_or(0);
    if (!request.maximum) {
        for (const auto& tokens : request.tokens) maximum = std::max(maximum, tokens.value_or(0));
    }
    std::vector<std::optional<Point>> points;
    points.reserve(request.tokens.size());
    for (std::size_t i = 0; i < request.tokens.size(); ++i) {
        auto& point = points.emplace_back();
        if (!request.tokens[i]) continue;
        point =
            Point{xOf(i, request.tokens.size(), request.size.width),
                  yOf(*request.tokens[i], maximum, request.size.height, request.verticalPadding)};
    }
    return points;
}

std::vector<std::optional<Point>> usageTrendPoints(Tokens tokens, Size size) {
    return trendPoints({.tokens = tokens, .size = size, .verticalPadding = usageTrendPadding});
}

std::vector<std::optional<Point>> projectTrendPoints(Tokens tokens, Size size) {
    return trendPoints({.tokens = tokens, .size = size, .verticalPadding = projectTrendPadding});
}

std::vector<Point> usagePacePoints(const PaceRequest& request) {
    constexpr double lastHour = 23;
    std::vector<Point> points;
    for (const HourlyTokenBucket& bucket : request.buckets) {
        points.push_back(
            {request.size.width * static_cast<double>(bucket.hour) / lastHour,
             yOf(bucket.tokens, request.maximum, request.size.height, usageTrendPadding)});
    }
    return points;
}

std::vector<std::vector<Point>> linePath(std::span<const std::optional<Point>> points) {
    std::vector<std::vector<Point>> pieces;
    bool isOpen = false;
    for (const auto& point : points) {
        if (point && !isOpen) pieces.emplace_back();
        if (point) pieces.back().push_back(*point);
        isOpen = point.has_value();
    }
    return pieces;
}

std::vector<Point> usagePacePath(std::span<const Point> points, double baseline) {
    if (points.size() < 2) return {};
    std::vector<Point> area(points.begin(), points.end());
    area.push_back({points.back().x, baseline});
    area.push_back({points.front().x, baseline});
    area.push_back(points.front());
    return area;
}

std::vector<Span> gaps(std::span<const std::optional<Point>> points, double width) {
    std::vector<Span> spans;
    for (std::size_t i = 0; i < points.size(); ++i) {
        if (points[i]) continue;
        const std::size_t first = i;
        while (i + 1 < points.size() && !points[i + 1]) ++i;
        spans.push_back({xOf(first > 0 ? first - 1 : 0, points.size(), width),
                         xOf(std::min(i + 1, points.size() - 1), points.size(), width)});
    }
    return spans;
}

std::vector<std::int64_t> gridValues(std::int64_t maximum) {
    if (maximum <= 0) return {};
    // The smallest round step of which three reach the maximum.
    constexpr std::array<double, 4> rounds{1, 2, 5, 10};
    const double needed = static_cast<double>(maximum) / 3;
    const double power = std::pow(10, std::floor(std::log10(std::max(needed, 1.0))));
    double step = 10 * power;
    for (const double round : rounds) {
        if (round * power >= needed) {
            step = round * power;
            break;
        }
    }
    std::vector<std::int64_t> values;
    constexpr double largest = 9e18;
    for (double value = step; value <= largest; value += step) {
        values.push_back(static_cast<std::int64_t>(value));
        if (value >= static_cast<double>(maximum)) break;
    }
    return values;
}

}  // namespace vantry::LineChartGeometry
