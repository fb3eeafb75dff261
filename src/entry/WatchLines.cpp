#include "entry/WatchLines.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>

#include "official/RuntimeSummary.h"
#include "platform/Text.h"
#include "platform/TextWidth.h"
#include "statistics/StatisticsContext.h"
#include "statistics/TokenFormatter.h"

namespace vantry::WatchLines {

namespace {

constexpr std::string_view notKnown = "--";
constexpr BilingualText reading{.zh = "正在读取…", .en = "reading…"};
constexpr BilingualText nothingToRead{
    .zh = "没有可读取的内容：VANTRY_RUNTIME_FILTER 未包含 codex",
    .en = "Nothing to read: VANTRY_RUNTIME_FILTER leaves codex out"};

BilingualText troubleText(LocalReaderDependencyFailure failure) {
    if (failure == LocalReaderDependencyFailure::databaseMissing) {
        return {.zh = "未找到 Codex 数据库", .en = "no database of Codex found"};
    }
    return {.zh = "未找到 sqlite3", .en = "sqlite3 not found"};
}

using Parts = std::vector<std::string>;

// Up to a day in hours and minutes, from there on in days and hours; rounded up to what is shown.
std::string countdown(double seconds, Language language) {
    const bool isZh = language == Language::zh;
    const auto unitsUp = [seconds](double unit) {
        return static_cast<std::int64_t>(std::ceil(seconds / unit));
    };
    const std::int64_t minutes = unitsUp(60);
    const std::int64_t hours = unitsUp(3'600);
    const bool isLong = minutes >= 24 * 60;
    const std::int64_t large = isLong ? hours / 24 : minutes / 60;
    const std::int64_t small = isLong ? hours % 24 : minutes % 60;
    Parts parts;
    if (large > 0) {
        const std::string_view unit = isLong ? (isZh ? "天" : "d") : (isZh ? "小时" : "h");
        parts.push_back(fmt::format("{}{}", large, unit));
    }
    if (small > 0) {
        const std::string_view unit = isLong ? (isZh ? "小时" : "h") : (isZh ? "分" : "m");
        parts.push_back(fmt::format("{}{}", small, unit));
    }
    return fmt::format("{}", fmt::join(parts, isZh ? "" : " "));
}

// One runtime's line in the making.
class LineMaker {
  public:
    LineMaker(const View& view, const RuntimeUsageSnapshot& runtime, const Calendar& calendar)
        : view_(view), runtime_(runtime), snapshot_(runtime.snapshot), calendar_(calendar) {}

    Parts parts() {
        if (isBeforeFirstRead()) return {word(reading)};
        addQuota();
        addTokens();
        addConversations();
        if (snapshot_.readerState.isLoading && !snapshot_.local) add(word(reading));
        addGaps();
        addStaleMarks();
        addTroubles();
        return std::move(parts_);
    }

  private:
    bool isZh() const { return view_.language == Language::zh; }

    std::string word(const BilingualText& text) const {
        return std::string(isZh() ? text.zh : text.en);
    }

    void add(std::string part) { parts_.push_back(std::move(part)); }

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
    }

    void addWindow(RuntimeQuotaWindowKind kind, const std::optional<RateWindow>& window) {
        const BilingualText names = kind == RuntimeQuotaWindowKind::fiveHour
                                        ? BilingualText{.zh = "5 小时", .en = "5h"}
                                        : BilingualText{.zh = "7 天", .en = "7d"};
        const std::string name = word(names);
        std::optional<double> percent;
        if (window) {
            percent = QuotaWindowPresentation::validRemainingPercent(
                window->remainingPercent(), {.resetsAt = window->resetsAt,
                                             .capturedAt = quotaCapturedAt(),
                                             .windowDurationMins = window->windowDurationMins,
                                             .now = view_.now});
        }
        if (!percent) return add(fmt::format("{} {}", name, notKnown));
        showsQuota_ = true;
        const double rounded = std::round(*percent);
        std::string part = isZh() ? fmt::format("{} 剩余 {:.0f}%", name, rounded)
                                  : fmt::format("{} {:.0f}% left", name, rounded);
        if (window->resetsAt) part += reset(*window->resetsAt - view_.now);
        add(std::move(part));
    }

    std::string reset(double seconds) const {
        constexpr double longest = 1e10;  // three centuries: no time that anybody meant
        if (!(seconds > 0 && seconds < longest)) return {};
        const std::string left = countdown(seconds, view_.language);
        return isZh() ? fmt::format("，{}后恢复", left) : fmt::format(", back in {}", left);
    }

    bool isToday(Date date) const {
        const auto day = calendar_.day(date);
        return day && day == calendar_.day(view_.now);
    }

    void addTokens() {
        showsLocal_ = snapshot_.local && isToday(view_.snapshot.statisticsIdentity.now);
        const auto today = showsLocal_ ? runtime_.todayTokens() : std::nullopt;
        const auto sevenDays = showsLocal_ ? snapshot_.local->sevenDayTokens : std::nullopt;
        const std::string todayText = TokenFormatter::format(today);
        const std::string sevenDayText = TokenFormatter::format(sevenDays);
        add(isZh() ? fmt::format("今日 {}", todayText) : fmt::format("today {}", todayText));
        add(isZh() ? fmt::format("近 7 天 {}", sevenDayText)
                   : fmt::format("7 days {}", sevenDayText));
    }

    void addConversations() {
        std::optional<std::int64_t> count;
        if (snapshot_.taskBoard) {
            const auto& columns = snapshot_.taskBoard->columns;
            const auto active = std::ranges::find(columns, TaskColumnKind::active, &TaskColumn::id);
            if (active != columns.end()) count = active->count;
        }
        const std::string text = count ? fmt::format("{}", *count) : std::string(notKnown);
        if (isZh()) return add(fmt::format("{} 个活跃会话", text));
        const std::string_view ending = count == 1 ? "" : "s";
        add(fmt::format("{} active conversation{}", text, ending));
    }

    void addGaps() {
        const std::int64_t count = showsLocal_ ? snapshot_.local->gaps.count() : 0;
        if (count == 0) return;
        std::vector<std::string_view> kinds;
        for (const LocalUsageGap& gap : snapshot_.local->gaps.list) {
            if (gap.kind != LocalUsageGapKind::goneLog) kinds.push_back(rawText(gap.kind));
        }
        const std::string names = fmt::format("{}", fmt::join(kinds, ", "));
        if (isZh()) return add(fmt::format("{} 处缺口 ({})", count, names));
        add(fmt::format("{} gap{} ({})", count, count == 1 ? "" : "s", names));
    }

    // Only of what the line rests on.
    void addStaleMarks() {
        if (showsQuota_ && runtime_.status == RuntimeMenuStatus::stale) {
            addStale({.zh = "额度数据", .en = "quota"}, quotaCapturedAt());
        }
        if (snapshot_.cloudDailyUsageIsStale && snapshot_.cloudDailyBuckets) {
            addStale({.zh = "官方日统计", .en = "official days"},
                     snapshot_.cloudDailyUsageCapturedAt);
        }
        if (showsLocal_ && snapshot_.localUsageIsStale) {
            addStale({.zh = "本机统计", .en = "local figures"}, snapshot_.localUsageCapturedAt);
        }
    }

    void addStale(const BilingualText& what, std::optional<Date> capturedAt) {
        const std::string subject = word(what);
        const std::string time = capturedAt ? timeText(*capturedAt) : std::string();
        if (time.empty()) {
            add(isZh() ? fmt::format("{}陈旧", subject) : fmt::format("{} stale", subject));
        } else {
            add(isZh() ? fmt::format("{}自 {} 起陈旧", subject, time)
                       : fmt::format("{} stale since {}", subject, time));
        }
    }

    // The time of a day that is not today goes with its date.
    std::string timeText(Date date) const {
        const std::string_view otherDay = isZh() ? "M月d日 HH:mm" : "MMM d HH:mm";
        return StatisticsDateFormatting::string(
            {.from = date,
             .calendar = calendar_,
             .localeIdentifier = isZh() ? "zh_CN" : "en_US_POSIX",
             .dateFormat = isToday(date) ? std::string_view("HH:mm") : otherDay});
    }

    // What a source says itself can be anything, and stands in the dump alone.
    void addTroubles() {
        const ReaderControlState& state = snapshot_.readerState;
        if (state.appServer == AppServerReadState::executableMissing) {
            add(word({.zh = "未找到可运行的 codex", .en = "no codex to run"}));
        } else if (state.appServer == AppServerReadState::failed) {
            add(word({.zh = "账号读取失败", .en = "account not read"}));
        } else if (snapshot_.officialUsageReadStatus == OfficialUsageReadStatus::failed) {
            add(word({.zh = "官方日统计读取失败", .en = "official days not read"}));
        }
        if (state.localDependencyFailure) {
            add(word(troubleText(*state.localDependencyFailure)));
        } else if (snapshot_.localUsageReadStatus == LocalUsageReadStatus::unavailable) {
            add(word({.zh = "本机统计读取失败", .en = "local figures not read"}));
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

Language language(const Environment& environment) {
    for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        const auto value = environment(name);
        if (!value || value->empty()) continue;
        return asciiLowercased(*value).starts_with("zh") ? Language::zh : Language::en;
    }
    return Language::en;
}

std::vector<std::string> lines(const View& view) {
    const Calendar calendar = StatisticsContext::calendar(
        view.snapshot.statisticsIdentity.resolvedIdentifier, TimeZone::utc());
    std::vector<std::string> result;
    for (const RuntimeUsageSnapshot& runtime : view.snapshot.runtimes) {
        result.push_back(line(view, runtime.scope, LineMaker(view, runtime, calendar).parts()));
    }
    if (result.empty()) {
        const auto word = [&](const BilingualText& text) {
            return std::string(view.language == Language::zh ? text.zh : text.en);
        };
        const bool isRead = !view.snapshot.aggregate.readerState.isLoading;
        result.push_back(isRead ? fitting(view, word(nothingToRead))
                                : line(view, RuntimeScope::codex, {word(reading)}));
    }
    return result;
}

}  // namespace vantry::WatchLines
