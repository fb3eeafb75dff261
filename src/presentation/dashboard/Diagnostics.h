#pragma once

#include <string>
#include <vector>

#include "presentation/SurfaceInput.h"
#include "presentation/format/Action.h"

namespace vantry {

/// One thing that failed, with what would help. The service's own words are not among it.
struct DiagnosticItem {
    std::string title;
    std::string advice;
    std::vector<std::string> paths;  ///< of logs, the first twenty
    std::string morePaths;           ///< how many more there are
    Action action;

    friend bool operator==(const DiagnosticItem&, const DiagnosticItem&) = default;
};

template <>
struct RecordFields<DiagnosticItem> {
    using Item = DiagnosticItem;
    static constexpr std::tuple list{
        field("title", &Item::title), field("advice", &Item::advice), field("paths", &Item::paths),
        field("morePaths", &Item::morePaths), field("action", &Item::action)};
};

/// What failed in the last read, each once, sources before single logs. Empty while nothing is
/// wrong, and during the first read.
std::vector<DiagnosticItem> environmentDiagnostics(const SurfaceInput& input);

}  // namespace vantry
