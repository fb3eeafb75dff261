#include <fmt/format.h>

#include "presentation/Surfaces.h"
#include "presentation/dashboard/CodexSessionOpener.h"
#include "presentation/samples/SampleStates.h"
#include "selftests/Suites.h"
#include "selftests/support/SelfTest.h"
#include "statistics/DayKey.h"

namespace vantry {

namespace {

JsonValue shownOf(const SampleState& state) {
    return encode(surfaces(state.input()), RecordForm::shown);
}

// "popover.quota.chosen.number"; a number steps into a list.
std::string textAt(const JsonValue& value, std::string_view path) {
    const JsonValue* at = &value;
    while (!path.empty() && at != nullptr) {
        const std::string_view step = path.substr(0, path.find('.'));
        path.remove_prefix(std::min(step.size() + 1, path.size()));
        const auto* list = std::get_if<JsonValue::Array>(&at->storage());
        if (list == nullptr) {
            at = at->find(step);
        } else {
            const auto index = static_cast<std::size_t>(std::stoi(std::string(step)));
            at = index < list->size() ? &(*list)[index] : nullptr;
        }
    }
    if (at == nullptr) return "nothing";
    if (const auto* text = std::get_if<std::string>(&at->storage())) return *text;
    if (const auto* list = std::get_if<JsonValue::Array>(&at->storage())) {
        return fmt::format("{} of them", list->size());
    }
    return writeJson(*at, JsonLayout::compact).value_or("");
}

struct Walk {
    SelfTest& test;
    std::string where;

    // Every text is whole, and whatever can be chosen says what that does.
    void visit(const JsonValue& value, const std::string& path) {
        if (const auto* text = std::get_if<std::string>(&value.storage())) {
            test.expect(
                text->find('{') == std::string::npos && text->find("nan") == std::string::npos,
                fmt::format("{}{} has a gap: {}", where, path, *text));
        } else if (const auto* list = std::get_if<JsonValue::Array>(&value.storage())) {
            for (std::size_t i = 0; i < list->size(); ++i)
                visit((*list)[i], fmt::format("{}.{}", path, i));
        } else if (const auto* members = std::get_if<JsonValue::Object>(&value.storage())) {
            const auto is = [&](const char* name, const JsonValue& wanted) {
                const auto found = members->find(name);
                return found != members->end() && found->second == wanted;
            };
            test.expect(!is("accessibleName", ""),
                        where + path + " has no name for a screen reader");
            const bool isAction = members->contains("kind") && members->contains("target");
            test.expect(!isAction || is("kind", "none") || !is("title", ""),
                        where + path + " does something without saying so");
            const bool isMissing = is("isAvailable", false) && members->contains("tooltip");
            test.expect(!isMissing || !is("tooltip", "") || is("label", "Next renewal") ||
                            is("label", "下次续费"),
                        where + path + " is missing and says not why");
            for (const auto& [name, member] : *members) {
                visit(member, fmt::format("{}.{}", path, name));
            }
        }
    }
};

void checkEveryState(SelfTest& test) {
    for (const std::string_view name : sampleStateNames()) {
        SampleState state = *sampleState(name);
        for (const auto& [language, text] : EnumTexts<WidgetLanguage>::table) {
            state.settings.language = language;
            Walk{test, fmt::format("{} {} ", name, text)}.visit(shownOf(state), "");
        }
    }
    test.expect(!sampleState("no such state"), "a state that is none");
}

struct Expected {
    const char* state;
    const char* path;
    const char* zh;
    const char* en;
};

const std::vector<Expected>& expectedTexts() {
    static const std::vector<Expected> table{
        {"first-run", "popover.quota.chosen.remaining", "不可用", "Unavailable"},
        {"first-run", "popover.hourly.emptyText", "暂无累计明细", "Cumulative detail unavailable"},
        {"first-run", "popover.goals.today.note", "目标未设置", "Goal not set"},
        {"first-run", "popover.month.footer", "历史累计 --", "Lifetime --"},
        {"first-run", "dashboard.diagnostics.0.title", "未找到 Codex", "Codex not found"},
        {"first-run", "dashboard.diagnostics", "3 of them", "3 of them"},
        {"first-run", "dashboard.tasks.empty.title", "任务记录不可用", "Task records unavailable"},
        {"reading", "popover.quota.status", "正在读取…", "reading…"},
        {"reading", "dashboard.diagnostics", "0 of them", "0 of them"},
        {"all-good", "popover.quota.chosen.remaining", "剩余 77%", "77% left"},
        {"all-good", "popover.quota.other.reset", "额度重置：3天21小时后 · 周五 09:01",
         "Quota resets: in 3d 21h · Fri 09:01"},
        {"all-good", "popover.month.footer", "历史累计 18.9B", "Lifetime 18.9B"},
        {"all-good", "popover.month.basis", "混合口径", "Hybrid"},
        {"all-good", "popover.goals.renewal.value", "12 天后", "12 days"},
        {"all-good", "popover.hourly.title", "今日累计 · 近 7 日均值",
         "Today cumulative · 7-day avg"},
        {"all-good", "dashboard.usage.quotaPace.status", "节奏健康", "Healthy pace"},
        {"all-good", "dashboard.tasks.columns", "3 of them", "3 of them"},
        {"all-good", "dashboard.projects.board.summary", "其中 1 个为首次使用", "1 of them new"},
        {"all-good", "settings.sections", "8 of them", "8 of them"},
        {"models", "dashboard.usage.models.series", "11 of them", "11 of them"},
        {"models", "dashboard.usage.models.series.9.name", "其他模型", "Other models"},
        {"project", "dashboard.projects.detail.conversations.4.badge", "子代理", "Subagent"},
        {"project", "dashboard.projects.detail.bars", "30 of them", "30 of them"},
        {"all-time", "dashboard.projects.board.notes", "1 of them", "1 of them"},
        {"all-time", "dashboard.projects.board.badge", "", ""},
        {"unfolded", "dashboard.skills.skills.rows.0.projects", "6 of them", "6 of them"},
        {"stale", "popover.quota.provenance", "账号，10:30 读取，可能已过时",
         "account, read 10:30, may be out of date"},
        {"stale", "popover.quota.explanations", "2 of them", "2 of them"},
        {"stale", "dashboard.usage.quotaPace.status", "", ""},
        {"stale", "dashboard.diagnostics.0.title", "app-server 响应超时",
         "app-server response timed out"},
        {"signed-out", "dashboard.diagnostics.0.title", "Codex 账户接口暂不可用",
         "Codex account API unavailable"},
        {"signed-out", "popover.quota.status", "本机统计", "Local only"},
        {"logs-missing", "dashboard.diagnostics.0.morePaths", "另有 3 个", "3 more"},
        {"quota-used-up", "tray.image.track", "danger", "danger"},
        {"quota-used-up", "popover.quota.chosen.remaining", "剩余 0%", "0% left"},
        {"other-limits", "popover.quota.limits.0.name", "codex 30天", "codex 30d"},
        {"other-limits", "popover.quota.limits.1.remaining", "剩余 0%", "0% left"},
        {"other-limits", "popover.quota.limits.1.reset", "1小时7分后恢复", "back in 1h 7m"},
        {"other-limits", "popover.quota.stopped", "已达到限额：GPT-5.5 Spark",
         "Limit reached: GPT-5.5 Spark"},
        {"huge-numbers", "popover.month.footer", "历史累计 9000000000.0B",
         "Lifetime 9000000000.0B"},
        {"tiny-numbers", "popover.month.footer", "历史累计 0", "Lifetime 0"}};
    return table;
}

void checkTexts(SelfTest& test) {
    for (const Expected& expected : expectedTexts()) {
        SampleState state = *sampleState(expected.state);
        for (const auto& [language, text] : {std::pair{WidgetLanguage::zh, expected.zh},
                                             std::pair{WidgetLanguage::en, expected.en}}) {
            state.settings.language = language;
            const std::string seen = textAt(shownOf(state), expected.path);
            test.expect(seen == text,
                        fmt::format("{} {}: \"{}\"", expected.state, expected.path, seen));
        }
    }
}

void checkDayAndDirection(SelfTest& test) {
    SampleState state = *sampleState("all-good");
    state.now = state.now + 86'400;
    const Surfaces tomorrow = surfaces(state.input());
    test.expect(tomorrow.popover.hourly.hours.empty() &&
                    tomorrow.popover.goals.today.value == "Waiting for statistics" &&
                    tomorrow.popover.goals.week.value == "Waiting for statistics" &&
                    tomorrow.tray.item.todayMetric()->value == "--" &&
                    !tomorrow.popover.quota.chosen.isAvailable &&
                    tomorrow.popover.quota.other->isAvailable,
                "yesterday's tokens are not today's, and a window that has ended is no quota");
    state = *sampleState("all-good");
    state.settings.statusItemPreferences.quotaMode = QuotaDisplayMode::used;
    const QuotaCard used = quotaCard(state.input());
    test.expect(
        used.chosen.remaining == "23% used" && used.chosen.fraction == 0.23 && used.isClockwise,
        "rings, bars and numbers have one direction");
    state.state.snapshot.secondary->resetsAt.reset();
    test.expect(quotaCard(state.input()).other->remaining == "40% used; reset time unavailable",
                "no reset time");
    UsageTrend& trend = *state.state.snapshot.local->usageTrend;
    trend.heatmapWeeks.back().front().usage.reset();
    const GoalsCard goals = goalsCard(state.input());
    test.expect(goals.today.isAvailable && !goals.week.isAvailable,
                "a week with a day that is not known has no sum");
    test.expect(goals.today.fraction > 0 && *goals.today.fraction <= 1, "today's goal has a bar");
    state.navigation.projectFilter = "BILL";
    test.expect(projectsTab(state.input()).board.rows.size() == 1, "a filter by name");
    state.navigation.projectFilter = "no such project";
    test.expect(projectsTab(state.input()).board.empty.has_value(), "that finds nothing says so");
}

void checkEdits(SelfTest& test) {
    const SampleState state = *sampleState("all-good");
    const auto edited = [&](const char* row, const char* value) {
        return applySetting(state.input(), {row, value});
    };
    const auto settings = [&](const char* row, const char* value) {
        return edited(row, value).settings.value_or(AppSettingsValues());
    };
    test.expect(
        settings("language", "zh").language == WidgetLanguage::zh &&
            settings("skin", "obsidian-gilt").skin == WidgetSkin::obsidianGilt &&
            settings("themeMode", "dark").themeMode == WidgetThemeMode::dark &&
            settings("keepMainWindowOnTop", "true").keepMainWindowOnTop &&
            settings("displayMode", "classic").statusItemPreferences.displayMode ==
                StatusItemDisplayMode::classic &&
            settings("codexHome", " /data/codex ").codexHome == "/data/codex" &&
            settings("weeklyTokenGoal", "1.5M").personalUsagePreferences.weeklyTokenGoal() ==
                1'500'000 &&
            settings("renewalDay", "2027-01-31").personalUsagePreferences.renewalDay ==
                CalendarDay{2027, 1, 31} &&
            settings("restore", "").statusItemPreferences == StatusItemPreferences() &&
            edited("fixedZone", "Asia/Shanghai").zone->fixedIdentifier == "Asia/Shanghai",
        "each row changes its own setting");
    for (const auto& [row, value, refusal] :
         {std::tuple{"sevenDayQuota", "false", "Minimal mode needs at least one quota metric"},
          std::tuple{"codexHome", "codex", "Enter a full path that begins with /"},
          std::tuple{"dailyTokenGoal", "many", "Enter a number, for example 2,000,000 or 2M"},
          std::tuple{"renewalDay", "2026-02-30", "Enter a date, for example 2026-12-05"},
          std::tuple{"fixedZone", "Mars/Base", "No time zone is called \"Mars/Base\""}}) {
        const SettingOutcome outcome = edited(row, value);
        test.expect(outcome.refusal == refusal && !outcome.settings && !outcome.zone,
                    "refused in words: " + outcome.refusal);
    }
    for (const auto& [text, tokens] :
         {std::pair{"", 0LL}, std::pair{"2,000,000", 2'000'000LL}, std::pair{"200万", 2'000'000LL},
          std::pair{"1.5亿", 150'000'000LL}, std::pair{"12 K", 12'000LL}}) {
        test.expect(tokenAmount(text) == tokens, std::string("the amount ") + text);
    }
    for (const char* bad : {"-1", "1e9", "2MM", "1.2.3", "9999999999999B", "."}) {
        test.expect(!tokenAmount(bad), std::string("no amount is ") + bad);
    }
}

void checkOpening(SelfTest& test) {
    constexpr const char* id = "019A0000-0000-7000-8000-00000000000A";
    constexpr const char* lower = "019a0000-0000-7000-8000-00000000000a";
    using Opening = CodexSessionOpener::Opening;
    using Kind = Opening::Kind;
    const CodexSessionOpener::Machine bare;
    const CodexSessionOpener::Machine terminal{.terminal = "/usr/bin/x-terminal-emulator",
                                               .codexProgram = "/usr/bin/codex"};
    CodexSessionOpener::Machine everything = terminal;
    everything.handlesCodexAddresses = true;
    test.expect(CodexSessionOpener::opening(id, everything) ==
                        Opening{Kind::address, {std::string("codex://threads/") + lower}} &&
                    CodexSessionOpener::opening(id, terminal) ==
                        Opening{Kind::terminal,
                                {"/usr/bin/x-terminal-emulator", "-e", "/usr/bin/codex", "resume",
                                 lower}} &&
                    CodexSessionOpener::opening(id, bare) ==
                        Opening{Kind::clipboard, {std::string("codex resume ") + lower}} &&
                    CodexSessionOpener::opening("$(reboot)", everything) == Opening{},
                "the application, a terminal, the clipboard, and nothing for what is no id");
}

}  // namespace

bool SurfacesSelfTest::run() {
    return SelfTest::run(
        "surfaces", {checkEveryState, checkTexts, checkDayAndDirection, checkEdits, checkOpening});
}

}  // namespace vantry
