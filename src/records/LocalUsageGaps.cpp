#include "records/LocalUsageGaps.h"

#include <algorithm>

#include "platform/Text.h"
#include "records/TokenBreakdown.h"

namespace vantry {

namespace {

constexpr std::size_t mostPaths = 1'000;

LocalUsageGap& gapOf(LocalUsageGapKind kind, std::vector<LocalUsageGap>& list) {
    const auto place = std::ranges::lower_bound(list, kind, {}, &LocalUsageGap::kind);
    if (place != list.end() && place->kind == kind) return *place;
    return *list.insert(place, LocalUsageGap{.kind = kind});
}

}  // namespace

void LocalUsageGaps::add(LocalUsageGapKind kind, const std::string& path, std::int64_t count) {
    LocalUsageGap& gap = gapOf(kind, list);
    gap.count = saturatingAdd(gap.count, count);
    gap.paths.push_back(validUtf8(path));
}

void LocalUsageGaps::add(const LocalUsageGaps& other) {
    for (const LocalUsageGap& more : other.list) {
        LocalUsageGap& gap = gapOf(more.kind, list);
        gap.count = saturatingAdd(gap.count, more.count);
        gap.paths.insert(gap.paths.end(), more.paths.begin(), more.paths.end());
    }
}

void LocalUsageGaps::settle() {
    for (LocalUsageGap& gap : list) {
        std::ranges::sort(gap.paths);
        gap.paths.erase(std::unique(gap.paths.begin(), gap.paths.end()), gap.paths.end());
        if (gap.paths.size() > mostPaths) gap.paths.resize(mostPaths);
    }
}

std::int64_t LocalUsageGaps::count() const {
    std::int64_t count = 0;
    for (const LocalUsageGap& gap : list) {
        if (gap.kind != LocalUsageGapKind::goneLog) count = saturatingAdd(count, gap.count);
    }
    return count;
}

}  // namespace vantry
