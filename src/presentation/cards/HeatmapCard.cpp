#include "presentation/cards/HeatmapCard.h"

#include <algorithm>

#include "presentation/charts/HeatmapGlowPlanner.h"
#include "presentation/format/TokenFormatter.h"
#include "presentation/words/FigureWords.h"
#include "presentation/words/TimeWords.h"
#include "presentation/words/UsageCardWords.h"

namespace vantry {

namespace {

class CardMaker {
  public:
    CardMaker(const SurfaceInput& input, HeatmapDetail detail)
        : input_(input), detail_(detail), words_(input.wording()) {}

    HeatmapCard card() {
        const UsageSnapshot& snapshot = input_.snapshot();
        HeatmapCard card{.title = words_(UsageCardWords::halfYear),
                         .less = words_(UsageCardWords::less),
                         .more = words_(UsageCardWords::more),
                         .footer = OfficialLifetimeMenuPresentation::footerText(
                             snapshot.officialLifetimeTokens, words_.language()),
                         .footerTooltip = OfficialLifetimeMenuPresentation::tooltip(
                             {.tokens = snapshot.officialLifetimeTokens,
                              .capturedAt = snapshot.officialLifetimeCapturedAt,
                              .isStale = snapshot.officialLifetimeIsStale},
                             words_),
                         .footerIsStale = snapshot.officialLifetimeIsStale};
        const LocalUsage* local = input_.local();
        const bool hasTrend =
            local != nullptr && local->usageTrend && !local->usageTrend->heatmapWeeks.empty();
        if (!hasTrend) {
            const bool isCompact = detail_ == HeatmapDetail::popover;
            card.emptyText =
                words_(isCompact ? UsageCardWords::noRecentTokens : UsageCardWords::firstRun);
            card.accessibleName = words_(FigureWords::spoken, card.title, card.emptyText);
            return card;
        }
        show(card, *local->usageTrend);
        return card;
    }

  private:
    void show(HeatmapCard& card, const UsageTrend& trend) {
        card.basis = words_(basisWord(trend.sourceQuality));
        const std::string days = trend.activeDayCount == 1
                                     ? words_(UsageCardWords::activeDay, 1)
                                     : words_(UsageCardWords::activeDays, trend.activeDayCount);
        card.active = words_(UsageCardWords::active) + " " + days;
        std::vector<UsageHeatmapGlowTarget> targets;
        int month = 0;
        for (std::size_t week = 0; week < trend.heatmapWeeks.size(); ++week) {
            std::vector<HeatmapCell>& cells = card.weeks.emplace_back();
            for (const UsageHeatmapDay& day : trend.heatmapWeeks[week]) {
                HeatmapCell cell = cellOf(day, trend);
                if (cell.tokens && HeatmapGlowPlanner::isEligible(*cell.tokens)) {
                    targets.push_back({.id = cell.id,
                                       .x = static_cast<double>(week),
                                       .y = static_cast<double>(cells.size())});
                }
                cells.push_back(std::move(cell));
            }
            addMonth(card, static_cast<std::int64_t>(week), trend.heatmapWeeks[week], month);
        }
        card.glowCandidates = HeatmapGlowPlanner::orderedCandidateIDs(targets);
        for (const UsageHeatmapDay& day : trend.heatmapWeeks.front()) {
            card.weekdays.push_back(words_.formatted(day.date, TimeWords::weekday));
        }
        if (!trend.knowsToday() || lacksDays(trend)) {
            card.note = words_(UsageCardWords::incompletePeriod);
        }
        FigureOrigin origin = input_.localOrigin();
        origin.source = sourceOf(trend.sourceQuality);
        card.provenance = words_.provenance(origin);
        card.accessibleName = spoken(card, trend, days);
    }

    // The last week has days that nobody knows.
    static bool lacksDays(const UsageTrend& trend) {
        return std::ranges::any_of(trend.heatmapWeeks.back(), [](const UsageHeatmapDay& day) {
            return !day.isFuture && !day.usage;
        });
    }

    HeatmapCell cellOf(const UsageHeatmapDay& day, const UsageTrend& trend) {
        HeatmapCell cell{
            .id = day.id,
            .isKnown = day.usage.has_value(),
            .isFuture = day.isFuture,
            .isToday = words_.calendar().day(day.date) == words_.calendar().day(input_.now)};
        if (day.isFuture) return cell;
        const bool isCompact = detail_ == HeatmapDetail::popover;
        const std::string name =
            words_.formatted(day.date, isCompact ? TimeWords::shortDay : TimeWords::longDay);
        if (day.usage) {
            cell.tokens = day.usage->tokens.visibleTotalTokens();
            cell.level = HeatmapGlowPlanner::level(*cell.tokens, trend.heatmapThresholds);
        }
        if (!cell.tokens) {
            cell.tooltip = words_(UsageCardWords::dayUnavailable, name);
        } else if (*cell.tokens > 0) {
            cell.tooltip =
                words_(UsageCardWords::dayTokens, name, TokenFormatter::format(cell.tokens));
        } else {
            cell.tooltip = words_(
                isCompact ? UsageCardWords::noTokenUsage : UsageCardWords::noTokenRecords, name);
        }
        return cell;
    }

    // Above the first week that begins in a month, unless the name before it would be touched.
    void addMonth(HeatmapCard& card, std::int64_t week, const std::vector<UsageHeatmapDay>& days,
                  int& month) {
        const auto day = days.empty() ? std::nullopt : words_.calendar().day(days.front().date);
        if (!day || day->month == month) return;
        month = day->month;
        if (!card.months.empty() && week - card.months.back().week < 2) card.months.pop_back();
        card.months.push_back(
            {.week = week, .label = words_.formatted(days.front().date, TimeWords::month)});
    }

    std::string spoken(const HeatmapCard& card, const UsageTrend& trend,
                       const std::string& days) const {
        std::int64_t total = 0;
        const UsageHeatmapDay* peak = nullptr;
        std::int64_t most = 0;
        for (const auto& week : trend.heatmapWeeks) {
            for (const UsageHeatmapDay& day : week) {
                if (!day.usage) continue;
                const std::int64_t tokens = day.usage->tokens.visibleTotalTokens();
                total = saturatingAdd(total, tokens);
                if (tokens > most) {
                    most = tokens;
                    peak = &day;
                }
            }
        }
        const std::string highest = peak == nullptr
                                        ? "--"
                                        : words_(UsageCardWords::dayTokens,
                                                 words_.formatted(peak->date, TimeWords::shortDay),
                                                 TokenFormatter::format(most));
        return words_(UsageCardWords::spokenChart, card.title, days, TokenFormatter::format(total),
                      highest);
    }

    const SurfaceInput& input_;
    HeatmapDetail detail_;
    Wording words_;
};

}  // namespace

HeatmapCard heatmapCard(const SurfaceInput& input, HeatmapDetail detail) {
    return CardMaker(input, detail).card();
}

BilingualText basisWord(UsageSourceQuality quality) {
    switch (quality) {
        case UsageSourceQuality::detailed:
            return UsageCardWords::detailed;
        case UsageSourceQuality::official:
            return UsageCardWords::official;
        case UsageSourceQuality::hybrid:
            return UsageCardWords::hybrid;
        case UsageSourceQuality::allocatedEstimate:
            return UsageCardWords::dailyAligned;
        case UsageSourceQuality::approximate:
            break;
    }
    return UsageCardWords::threadBased;
}

FigureSource sourceOf(UsageSourceQuality quality) {
    switch (quality) {
        case UsageSourceQuality::official:
            return FigureSource::account;
        case UsageSourceQuality::hybrid:
            return FigureSource::accountAndComputer;
        default:
            return FigureSource::thisComputer;
    }
}

namespace OfficialLifetimeMenuPresentation {

std::string footerText(std::optional<std::int64_t> tokens, WidgetLanguage language) {
    return inWords(UsageCardWords::lifetime, language, TokenFormatter::format(tokens));
}

std::string tooltip(const Lifetime& lifetime, const Wording& words) {
    if (!lifetime.tokens) return words(UsageCardWords::lifetimeUnavailable);
    std::string total = words(UsageCardWords::lifetimeTooltip, words.digits(*lifetime.tokens));
    if (lifetime.isStale) total = words(UsageCardWords::staleLifetime, total);
    const std::string captured =
        lifetime.capturedAt ? words(UsageCardWords::asOf,
                                    words.formatted(*lifetime.capturedAt, TimeWords::wholeMoment))
                            : words(UsageCardWords::captureTimeUnknown);
    return total + " · " + captured;
}

}  // namespace OfficialLifetimeMenuPresentation

}  // namespace vantry
