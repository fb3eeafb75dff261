#pragma once

#include <optional>
#include <string>
#include <vector>

#include "official/QuotaWindow.h"
#include "presentation/words/Language.h"
#include "records/RuntimeUsageSnapshot.h"

namespace vantry {

/// One window of a limit beside the plan's own two, in words.
struct OtherLimitLine {
    std::string name;       ///< the service's, made harmless and cut, with the window's length
    std::string remaining;  ///< "12% left", or that it is reached
    std::string reset;      ///< "in 3d 4h"; empty without one
    std::optional<double> fraction;  ///< of what is left, 0...1
    bool isReached = false;

    friend bool operator==(const OtherLimitLine&, const OtherLimitLine&) = default;
};

template <>
struct RecordFields<OtherLimitLine> {
    using Line = OtherLimitLine;
    static constexpr std::tuple list{
        field("name", &Line::name), field("remaining", &Line::remaining),
        field("reset", &Line::reset), field("fraction", &Line::fraction),
        field("isReached", &Line::isReached)};
};

/// Every window that runs at `now`, limit by limit; a limit that is reached and has none, too.
std::vector<OtherLimitLine> otherLimitLines(const RuntimeUsageSnapshot& runtime, Date now,
                                            WidgetLanguage language);

/// That the account is stopped, whichever limit does it; empty while it is not.
std::string stoppedText(const UsageSnapshot& snapshot, WidgetLanguage language);

}  // namespace vantry
