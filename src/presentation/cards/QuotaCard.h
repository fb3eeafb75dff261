#pragma once

#include <optional>
#include <string>
#include <vector>

#include "presentation/SurfaceInput.h"
#include "presentation/format/Action.h"
#include "presentation/format/Figure.h"
#include "presentation/status/OtherLimits.h"

namespace vantry {

/// One window of the quota.
struct QuotaWindowRow {
    std::string name;                ///< "5-hour quota"
    std::string remaining;           ///< "77% left", or that it is not available
    std::string number = "--";       ///< "77", in the ring
    std::optional<double> fraction;  ///< 0...1 in the direction that the user chose
    std::string reset;               ///< "Quota resets: in 1h 48m · 14:20"; empty without one
    bool isAvailable = false;
    bool isStale = false;
    std::string tooltip;
    std::string accessibleName;

    friend bool operator==(const QuotaWindowRow&, const QuotaWindowRow&) = default;
};

template <>
struct RecordFields<QuotaWindowRow> {
    using Row = QuotaWindowRow;
    static constexpr std::tuple list{field("name", &Row::name),
                                     field("remaining", &Row::remaining),
                                     field("number", &Row::number),
                                     field("fraction", &Row::fraction),
                                     field("reset", &Row::reset),
                                     field("isAvailable", &Row::isAvailable),
                                     field("isStale", &Row::isStale),
                                     field("tooltip", &Row::tooltip),
                                     field("accessibleName", &Row::accessibleName)};
};

/// What is left of the account's quota and when it is back. The popover, the header of the
/// dashboard and the tray's menu show this one value.
struct QuotaCard {
    std::string runtimeName;
    std::string plan;  ///< "Plus plan"; empty where it is not known
    std::string status;
    bool isReading = false;               ///< a first read runs
    QuotaWindowRow chosen;                ///< the window that the plan is judged by
    bool isClockwise = false;             ///< of the ring's arc
    std::optional<QuotaWindowRow> other;  ///< the account's other window
    std::optional<Figure> resetCredits;
    std::vector<OtherLimitLine> limits;  ///< below the windows, a line each
    std::string stopped;  ///< beside the ring: that the account is over a limit, whichever
    std::vector<std::string> explanations;  ///< of what is stale
    std::string provenance;
    std::string lastRead;
    Action refresh;
    bool isRefreshing = false;

    /// A line a window, for the menu of the tray.
    std::vector<std::string> menuLines() const;

    friend bool operator==(const QuotaCard&, const QuotaCard&) = default;
};

template <>
struct RecordFields<QuotaCard> {
    using Card = QuotaCard;
    static constexpr std::tuple list{field("runtimeName", &Card::runtimeName),
                                     field("plan", &Card::plan),
                                     field("status", &Card::status),
                                     field("isReading", &Card::isReading),
                                     field("chosen", &Card::chosen),
                                     field("isClockwise", &Card::isClockwise),
                                     field("other", &Card::other),
                                     field("resetCredits", &Card::resetCredits),
                                     field("limits", &Card::limits),
                                     field("stopped", &Card::stopped),
                                     field("explanations", &Card::explanations),
                                     field("provenance", &Card::provenance),
                                     field("lastRead", &Card::lastRead),
                                     field("refresh", &Card::refresh),
                                     field("isRefreshing", &Card::isRefreshing)};
};

QuotaCard quotaCard(const SurfaceInput& input);

}  // namespace vantry
