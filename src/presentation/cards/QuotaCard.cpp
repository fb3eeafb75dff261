#include "presentation/cards/QuotaCard.h"

#include <cmath>
#include <fmt/format.h>

#include "platform/Text.h"
#include "presentation/format/Countdown.h"
#include "presentation/status/RuntimeMenuSummary.h"
#include "presentation/status/StaleExplanations.h"
#include "presentation/words/FigureWords.h"
#include "presentation/words/QuotaWords.h"
#include "presentation/words/StatusWords.h"

namespace vantry {

namespace {

using Kind = RuntimeQuotaWindowKind;

class CardMaker {
  public:
    explicit CardMaker(const SurfaceInput& input)
        : input_(input), words_(input.wording()), runtime_(input.runtime()) {
        if (runtime_ == nullptr) return;
        summary_ = summary(*runtime_, input.now);
        capturedAt_ = runtime_->quotaCapturedAt
                          ? runtime_->quotaCapturedAt
                          : RuntimeUsageSnapshot::defaultQuotaCapturedAt(runtime_->snapshot);
    }

    QuotaCard card() {
        const UsageSnapshot& snapshot = input_.snapshot();
        const RuntimeQuotaWindowSelection selected = selectedQuotaWindow(snapshot);
        const bool isFiveHour = selected.kind == Kind::fiveHour;
        QuotaCard card{
            .runtimeName = std::string(displayName(input_.state.selectedRuntimeScope)),
            .plan = planLabel(),
            .status = words_(statusText(summary_.status)),
            .isReading = input_.isFirstRead(),
            .chosen = row(selected.kind, selected.window),
            .isClockwise = isUsed(),
            .provenance = words_.provenance(
                {.source = FigureSource::account, .capturedAt = capturedAt_, .isStale = isStale()}),
            .refresh = {.kind = ActionKind::refresh,
                        .title = words_(input_.state.isRefreshing ? QuotaWords::refreshing
                                                                  : QuotaWords::refresh)},
            .isRefreshing = input_.state.isRefreshing};
        if (card.isReading) card.status = words_(QuotaWords::reading);
        const auto& other = isFiveHour ? snapshot.secondary : snapshot.primary;
        if (other) card.other = row(isFiveHour ? Kind::sevenDay : Kind::fiveHour, other);
        if (snapshot.credits && snapshot.credits->resetCredits) card.resetCredits = resetCredits();
        card.stopped = stoppedText(snapshot, input_.settings.language);
        if (runtime_ != nullptr) {
            card.limits = otherLimitLines(*runtime_, input_.now, input_.settings.language);
            for (const BilingualText& text : staleExplanations(*runtime_, input_.now)) {
                card.explanations.push_back(words_(text));
            }
        }
        const Date refreshedAt = snapshot.refreshedAt;
        const bool isRead = runtime_ != nullptr && refreshedAt <= input_.now;
        card.lastRead = isRead ? words_(QuotaWords::lastRead, words_.moment(refreshedAt))
                               : words_(QuotaWords::neverRead);
        return card;
    }

  private:
    bool isUsed() const {
        return input_.settings.statusItemPreferences.quotaMode == QuotaDisplayMode::used;
    }

    bool isStale() const {
        return runtime_ != nullptr && runtime_->status == RuntimeMenuStatus::stale;
    }

    std::string planLabel() const {
        const auto& account = input_.snapshot().account;
        if (!account || !account->planType || account->planType->empty()) return {};
        std::string plan(firstCharacters(validUtf8(*account->planType), 24));
        return words_(QuotaWords::plan, uppercased(plan.substr(0, 1)) + plan.substr(1));
    }

    QuotaWindowRow row(Kind kind, const std::optional<RateWindow>& window) const {
        QuotaWindowRow row{
            .name = words_(kind == Kind::fiveHour ? QuotaWords::fiveHourQuota
                                                  : QuotaWords::sevenDayQuota),
            .remaining =
                words_(input_.isFirstRead() ? QuotaWords::reading : QuotaWords::unavailable),
            .tooltip = words_(window ? QuotaWords::windowHasEnded : QuotaWords::signInAdvice)};
        std::optional<double> percent;
        if (window) {
            percent = QuotaWindowPresentation::validRemainingPercent(
                window->remainingPercent(), {.resetsAt = window->resetsAt,
                                             .capturedAt = capturedAt_,
                                             .windowDurationMins = window->windowDurationMins,
                                             .now = input_.now});
        }
        if (percent) {
            show(row, isUsed() ? 100 - *percent : *percent, *window);
        }
        row.accessibleName = row.reset.empty()
                                 ? words_(FigureWords::spoken, row.name, row.remaining)
                                 : words_(QuotaWords::spoken, row.name, row.remaining, row.reset);
        return row;
    }

    void show(QuotaWindowRow& row, double percent, const RateWindow& window) const {
        const auto countdown = QuotaWindowPresentation::remainingTimeText(
            {.resetsAt = window.resetsAt, .now = input_.now}, input_.settings.language);
        row.isAvailable = true;
        row.isStale = isStale();
        row.number = fmt::format("{:.0f}", std::round(percent));
        row.fraction = percent / 100;
        if (countdown) {
            row.remaining = words_(isUsed() ? QuotaWords::used : QuotaWords::left, row.number);
            row.reset =
                words_(QuotaWords::resets, *countdown, words_.comingMoment(*window.resetsAt));
        } else {
            row.remaining = words_(
                isUsed() ? QuotaWords::usedWithoutReset : QuotaWords::leftWithoutReset, row.number);
        }
        row.tooltip = words_.provenance(
            {.source = FigureSource::account, .capturedAt = capturedAt_, .isStale = row.isStale});
    }

    Figure resetCredits() const {
        Figure figure{.label = words_(QuotaWords::resetsLeft),
                      .value = words_.digits(*input_.snapshot().credits->resetCredits),
                      .isAvailable = true,
                      .isStale = isStale()};
        figure.accessibleName = words_(FigureWords::spoken, figure.label, figure.value);
        return figure;
    }

    const SurfaceInput& input_;
    Wording words_;
    const RuntimeUsageSnapshot* runtime_;
    RuntimeMenuSummary summary_;
    std::optional<Date> capturedAt_;
};

}  // namespace

QuotaCard quotaCard(const SurfaceInput& input) {
    return CardMaker(input).card();
}

std::vector<std::string> QuotaCard::menuLines() const {
    std::vector<std::string> lines{chosen.accessibleName};
    if (other) lines.push_back(other->accessibleName);
    if (!stopped.empty()) lines.push_back(stopped);
    return lines;
}

}  // namespace vantry
