#include "presentation/status/WatchLines.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>

#include "platform/TextWidth.h"
#include "presentation/format/Countdown.h"
#include "presentation/format/StatisticsDateFormatting.h"
#include "presentation/format/TokenFormatter.h"
#include "presentation/status/OtherLimits.h"
#include "presentation/status/RuntimeMenuSummary.h"
#include "presentation/words/TimeWords.h"
#include "presentation/words/WatchWords.h"
#include "statistics/StatisticsContext.h"

namespace vantry::WatchLines {

namespace {

constexpr std::string_view notKnown = "--";

using Parts = std::vector<std::string>;

// One runtime's line in the making.
class LineMaker {
  public:
    LineMaker(const View& view, const RuntimeUsageSnapshot& runtime, const Calendar& calendar)
        : view_(view), runtime_(runtime), snapshot_(runtime.snapshot), calendar_(calendar) {}

    Parts parts() {
        if (isBeforeFirstRead()) return {word(WatchWords::reading)};
        addQuota();
        addTokens();
        addConversations();
        if (snapshot_.readerState.isLoading && !snapshot_.local) add(WatchWords::reading);
        addGaps();
        addStaleMarks();
        addTroubles();
        return std::move(parts_);
    }

  private:
    std::string word(const BilingualText& text) const {
        return std::string(text.in(view_.language));
    }

    template <class... Values>
    std::string word(const BilingualText& pattern, const Values&... values) const {
        return inWords(pattern, view_.language, values...);
    }

    template <class... Values>
    void add(const BilingualText& pattern, const Values&... values) {
        parts_.push_back(word(pattern, values...));
    }

    bool isBeforeFirstRead() const {
        return snapshot_.readerState.isLoading &&
               snapshot_.readerState.appServer == AppServerReadState::notAttempted &&
               !snapshot_.primary && !snapshot_.secondary && !snapshot_.local &&
               !snapshot_.taskBoard;
    }

    std::optional<Date> quotaCapturedAt() const {
        return runtime_.quotaCapturedAt ? runtime_.quotaCapturedAt
                                        : RuntimeUsageSnapshot::defaultQuotaCapturedAt(snapshot_);
    }

    // The window that counts, and after it the other one where the account has it.
    void addQuota() {
        using Kind = RuntimeQuotaWindowKind;
        const RuntimeQuotaWindowSelection selected = selectedQuotaWindow(snapshot_);
        const bool isFiveHour = selected.kind == Kind::fiveHour;
        const auto& other = isFiveHour ? snapshot_.secondary : snapshot_.primary;
        addWindow(selected.kind, selected.window);
        if (other) addWindow(isFiveHour ? Kind::sevenDay : Kind::fiveHour, other);
        for (const OtherLimitLine& line : otherLimitLines(runtime_, view_.now, view_.language)) {
            std::string part = line.name + " " + line.remaining;
            if (!line.reset.empty()) part += word(WatchWords::between) + line.reset;
            parts_.push_back(std::move(part));
        }
        if (std::string stopped = stoppedText(snapshot_, view_.language); !stopped.empty()) {
            parts_.push_back(std::move(stopped));
        }
    }

    void addWindow(RuntimeQuotaWindowKind kind, const std::optional<RateWindow>& window) {
        const std::string name =
            word(kind == RuntimeQuotaWindowKind::fiveHour ? WatchWords::fiveHours
                                                          : WatchWords::sevenDays);
        std::optional<double> percent;
        if (window) {
            percent = QuotaWindowPresentation::validRemainingPercent(
                window->remainingPercent(), {.resetsAt = window->resetsAt,
                                             .capturedAt = quotaCapturedAt(),
                                             .windowDurationMins = window->windowDurationMins,
                                             .now = view_.now});
        }
        if (!percent) return parts_.push_back(fmt::format("{} {}", name, notKnown));
        showsQuota_ = true;
        std::string part = word(WatchWords::left, name, std::round(*percent));
        const auto left = QuotaWindowPresentation::remainingTimeText(
            {.resetsAt = window->resetsAt, .now = view_.now}, view_.language);
        if (left) part += word(WatchWords::backIn, *left);
        parts_.push_back(std::move(part));
    }

    bool isToday(Date date) const {
        const auto day = calendar_.day(date);
        return day && day == calendar_.day(view_.now);
    }

    void addTokens() {
        showsLocal_ = snapshot_.local && isToday(view_.snapshot.statisticsIdentity.now);
        const auto today = showsLocal_ ? runtime_.todayTokens() : std::nullopt;
        const auto sevenDays = showsLocal_ ? snapshot_.local->sevenDayTokens : std::nullopt;
        add(WatchWords::today, TokenFormatter::format(today));
        add(WatchWords::lastSevenDays, TokenFormatter::format(sevenDays));
    }

    void addConversations() {
        std::optional<std::int64_t> count;
        if (snapshot_.taskBoard) {
            const auto& columns = snapshot_.taskBoard->columns;
            const auto active = std::ranges::find(columns, TaskColumnKind::active, &TaskColumn::id);
            if (active != columns.end()) count = active->count;
        }
        const std::string text = count ? fmt::format("{}", *count) : std::string(notKnown);
        add(count == 1 ? WatchWords::activeConversation : WatchWords::activeConversations, text);
    }

    void addGaps() {
        const std::int64_t count = showsLocal_ ? snapshot_.local->gaps.count() : 0;
        if (count == 0) return;
        std::vector<std::string_view> kinds;
        for (const LocalUsageGap& gap : snapshot_.local->gaps.list) {
            if (gap.kind != LocalUsageGapKind::goneLog) kinds.push_back(rawText(gap.kind));
        }
        const std::string names = fmt::format("{}", fmt::join(kinds, ", "));
        add(count == 1 ? WatchWords::gap : WatchWords::gaps, count, names);
    }

    // Only of what the line rests on.
    void addStaleMarks() {
        if (showsQuota_ && runtime_.status == RuntimeMenuStatus::stale) {
            addStale(WatchWords::quota, quotaCapturedAt());
        }
        if (snapshot_.cloudDailyUsageIsStale && snapshot_.cloudDailyBuckets) {
            addStale(WatchWords::officialDays, snapshot_.cloudDailyUsageCapturedAt);
        }
        if (showsLocal_ && snapshot_.localUsageIsStale) {
            addStale(WatchWords::localFigures, snapshot_.localUsageCapturedAt);
        }
    }

    // The time of a clock that has been set back since is none.
    void addStale(const BilingualText& what, std::optional<Date> capturedAt) {
        const std::string subject = word(what);
        const bool isTime = capturedAt && *capturedAt <= view_.now;
        const std::string time = isTime ? timeText(*capturedAt) : std::string();
        if (time.empty()) {
            add(WatchWords::stale, subject);
        } else {
            add(WatchWords::staleSince, subject, time);
        }
    }

    // The time of a day that is not today goes with its date.
    std::string timeText(Date date) const {
        return StatisticsDateFormatting::string(
            {.from = date,
             .calendar = calendar_,
             .localeIdentifier = TimeWords::locale.in(view_.language),
             .dateFormat = (isToday(date) ? TimeWords::timeOfDay : TimeWords::timeOfOtherDay)
                               .in(view_.language)});
    }

    // What a source says itself can be anything, and stands in the dump alone.
    void addTroubles() {
        const ReaderControlState& state = snapshot_.readerState;
        if (state.appServer == AppServerReadState::executableMissing) {
            add(WatchWords::noCodex);
        } else if (state.appServer == AppServerReadState::failed) {
            add(WatchWords::accountNotRead);
        } else if (snapshot_.officialUsageReadStatus == OfficialUsageReadStatus::failed) {
            add(WatchWords::officialDaysNotRead);
        }
        if (state.localDependencyFailure) {
            add(WatchWords::troubleText(*state.localDependencyFailure));
        } else if (snapshot_.localUsageReadStatus == LocalUsageReadStatus::unavailable) {
            add(WatchWords::localFiguresNotRead);
        }
    }

    const View& view_;
    const RuntimeUsageSnapshot& runtime_;
    const UsageSnapshot& snapshot_;
    const Calendar& calendar_;
    Parts parts_;
    bool showsQuota_ = false;
    bool showsLocal_ = false;
};

std::string fitting(const View& view, const std::string& text) {
    return view.columns ? cutToWidth(text, *view.columns) : text;
}

std::string line(const View& view, RuntimeScope scope, const Parts& parts) {
    return fitting(view, fmt::format("{}  {}", displayName(scope), fmt::join(parts, " · ")));
}

}  // namespace

std::vector<std::string> lines(const View& view) {
    const Calendar calendar = StatisticsContext::calendar(
        view.snapshot.statisticsIdentity.resolvedIdentifier, TimeZone::utc());
    std::vector<std::string> result;
    for (const RuntimeUsageSnapshot& runtime : view.snapshot.runtimes) {
        result.push_back(line(view, runtime.scope, LineMaker(view, runtime, calendar).parts()));
    }
    if (result.empty()) {
        const auto word = [&](const BilingualText& text) {
            return std::string(text.in(view.language));
        };
        const bool isRead = !view.snapshot.aggregate.readerState.isLoading;
        result.push_back(isRead ? fitting(view, word(WatchWords::nothingToRead))
                                : line(view, RuntimeScope::codex, {word(WatchWords::reading)}));
    }
    return result;
}

}  // namespace vantry::WatchLines
