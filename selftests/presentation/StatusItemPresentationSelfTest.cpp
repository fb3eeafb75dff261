#include <fmt/format.h>

#include "platform/TextWidth.h"
#include "presentation/status/StatusItemPresentation.h"
#include "presentation/status/TrayPresentation.h"
#include "selftests/Suites.h"
#include "selftests/support/SelfTest.h"

namespace vantry {

namespace {

using Display = StatusItemDisplayMode;
using Quota = QuotaDisplayMode;
using Metrics = std::set<StatusItemMetric>;

const Metrics quotaAlone{StatusItemMetric::sevenDayQuota};
const Metrics tokensAlone{StatusItemMetric::todayTokens};
const Metrics both{StatusItemMetric::sevenDayQuota, StatusItemMetric::todayTokens};

constexpr const char* modeKey = "Vantry.statusItem.displayMode";
constexpr const char* quotaKey = "Vantry.statusItem.quotaMode";
constexpr const char* metricsKey = "Vantry.statusItem.visibleMetrics";
constexpr const char* countdownKey = "Vantry.statusItem.showsResetCountdown";

void checkStored(SelfTest& test) {
    struct Case {
        std::map<std::string, std::string> stored;
        StatusItemPreferences loaded;
        std::optional<std::string> metricsAfter;
    };
    const std::vector<Case> cases{
        {{}, {}, std::nullopt},
        {{{modeKey, "classic"}, {metricsKey, "todayTokens"}},
         {Display::classic, Quota::remaining, tokensAlone},
         "todayTokens"},
        {{{modeKey, "rich"}, {quotaKey, "unknown-direction"}},
         {Display::classic, Quota::remaining, quotaAlone},
         "sevenDayQuota"},
        {{{modeKey, "minimal"}, {metricsKey, "todayTokens"}},
         {Display::minimal, Quota::remaining, both},
         "sevenDayQuota,todayTokens"},
        {{{metricsKey, "fiveHourQuota"}, {countdownKey, "true"}, {quotaKey, "used"}},
         {Display::minimal, Quota::used, quotaAlone},
         "sevenDayQuota"}};
    for (const Case& c : cases) {
        const TemporaryDirectory directory("vantry-status-item-");
        UserDefaults defaults(directory.path(), "test");
        defaults.setStrings(c.stored);
        const StatusItemPreferences loaded = StatusItemPreferencesStore::load(defaults);
        test.expect(loaded == c.loaded && defaults.string(metricsKey) == c.metricsAfter &&
                        !defaults.string(countdownKey) && defaults.string(modeKey) != "rich" &&
                        StatusItemPreferencesStore::load(defaults) == c.loaded,
                    "stored metrics \"" + c.metricsAfter.value_or("none") + "\"");
    }
    using Error = StatusItemPreferenceError;
    test.expect(
        StatusItemPreferences{.visibleMetrics = {}}.validationError() ==
                Error::requiresVisibleMetric &&
            StatusItemPreferences{.visibleMetrics = tokensAlone}.validationError() ==
                Error::minimalRequiresQuotaMetric &&
            !StatusItemPreferences{Display::classic, Quota::used, tokensAlone}.validationError(),
        "choices that cannot be taken");
}

StatusItemPresentation built(const StatusItemPreferences& preferences,
                             std::optional<double> remaining, WidgetLanguage language,
                             const std::string& shortcut = "") {
    return StatusItemPresentationBuilder::build(
        {.source = {.quotaRemainingPercent = remaining, .todayTokens = 1'234'567},
         .preferences = preferences,
         .language = language,
         .shortcutLabel = shortcut});
}

void checkQuota(SelfTest& test) {
    struct Case {
        Quota mode;
        std::optional<double> remaining;
        std::string value;
        std::optional<double> fraction;
        TrayImage image;
    };
    using Centre = TrayImage::Centre;
    using Track = TrayImage::Track;
    const std::vector<Case> cases{
        {Quota::remaining,
         72,
         "72%",
         0.72,
         {0.72, false, Track::normal, Centre::number, "72", true}},
        {Quota::used, 72, "28%", 0.28, {0.28, true, Track::normal, Centre::number, "28", true}},
        {Quota::remaining, 140, "100%", 1, {1, false, Track::normal, Centre::tick, "", true}},
        {Quota::remaining,
         12.5,
         "13%",
         0.125,
         {0.125, false, Track::normal, Centre::number, "13", true}},
        {Quota::remaining, 0, "0%", 0, {{}, false, Track::danger, Centre::number, "0", true}},
        {Quota::used, 0, "100%", 1, {{}, true, Track::danger, Centre::exclamation, "", true}},
        {Quota::used, {}, "--", {}, {{}, true, Track::normal, Centre::empty, "", true}}};
    for (const Case& c : cases) {
        const auto item =
            built({Display::classic, c.mode, quotaAlone}, c.remaining, WidgetLanguage::en);
        const StatusItemMetricPresentation quota = item.quotaMetrics().front();
        test.expect(quota.value == c.value && quota.fraction == c.fraction &&
                        quota.isAvailable == c.remaining.has_value() && item.imageSize.width == 43,
                    "the quota " + c.value);
        test.expect(trayImage(item, false) == c.image, "the tray's image of " + c.value);
    }
    const auto minimal = built({.visibleMetrics = quotaAlone}, 50, WidgetLanguage::en);
    test.expect(trayImage(minimal, true) == TrayImage{.fraction = 0.5, .isMoving = true},
                "the minimal image has an empty centre, and moves where that is wanted");
}

void checkSizes(SelfTest& test) {
    struct Case {
        StatusItemPreferences preferences;
        double width;
        double length;
    };
    for (const auto& [preferences, width, length] :
         {Case{{Display::minimal, Quota::remaining, quotaAlone}, 20, 20},
          Case{{Display::minimal, Quota::remaining, both}, 71, 71},
          Case{{Display::classic, Quota::remaining, quotaAlone}, 43, 45},
          Case{{Display::classic, Quota::remaining, both}, 94, 96},
          Case{{Display::classic, Quota::remaining, tokensAlone}, 72, 74}}) {
        for (const auto& percent : {std::optional<double>(50), std::optional<double>()}) {
            const auto item = built(preferences, percent, WidgetLanguage::zh);
            test.expect(
                item.imageSize == StatusItemImageSize{width, 22} && item.itemLength == length,
                fmt::format("a width of {}, whatever the data", width));
        }
    }
    for (const int size : trayImageSizes) {
        for (const bool isThin : {false, true}) {
            const TrayRing ring = trayRing(size, isThin);
            test.expect(ring.diameter <= size - 2 && ring.lineWidth >= 1.5 &&
                            (!isThin || ring.digitHeight >= 5) &&
                            ring.diameter > 4 * ring.lineWidth,
                        fmt::format("the ring at {} pixels", size));
        }
    }
}

void checkWords(SelfTest& test) {
    const StatusItemPreferences preferences{Display::classic, Quota::remaining, both};
    const auto tooltip = [&](std::optional<double> percent, WidgetLanguage language,
                             const char* shortcut) {
        return built(preferences, percent, language, shortcut).tooltip;
    };
    test.expect(
        tooltip(72, WidgetLanguage::en, "⇧⌘M") ==
                "Vantry · Codex · 7d remaining 72% · today tokens 1.2M · Click for the "
                "runtime usage menu, shortcut ⇧⌘M" &&
            tooltip({}, WidgetLanguage::zh, "") ==
                "Vantry · Codex · 7d 剩余 不可用 · 今日 token 1.2M · 点击查看 Runtime 用量菜单",
        "the tool tip in both languages");
    const StatusItemStaticImageCacheKey key{built(preferences, 72, WidgetLanguage::en), "light"};
    StatusItemStaticImageCacheKey other = key;
    other.presentation.tooltip = "other";
    other.presentation.metrics.back().value = "9";
    test.expect(StatusItemFlowFrameCacheKey::of(key) == StatusItemFlowFrameCacheKey::of(other),
                "words and tokens make no new frames");
    other.skin = WidgetSkin::sakuraBlush;
    const StatusItemStaticImageCacheKey unknown{built(preferences, {}, WidgetLanguage::en),
                                                "light"};
    test.expect(StatusItemFlowFrameCacheKey::of(key) != StatusItemFlowFrameCacheKey::of(other) &&
                    !StatusItemFlowFrameCacheKey::of(unknown),
                "another skin does, and a quota that is not known has none");
}

}  // namespace

bool StatusItemPresentationSelfTest::run() {
    return SelfTest::run("status item", {checkStored, checkQuota, checkSizes, checkWords});
}

}  // namespace vantry
