#include "presentation/dashboard/ModelUsagePanel.h"

#include <array>
#include <cmath>
#include <fmt/format.h>

#include "platform/Text.h"
#include "presentation/format/TokenFormatter.h"
#include "presentation/words/DashboardWords.h"
#include "presentation/words/FigureWords.h"
#include "presentation/words/TimeWords.h"
#include "presentation/words/UsageCardWords.h"
#include "records/TokenBreakdown.h"

namespace vantry {

namespace {

constexpr std::array ranges{ModelUsageRange::thirtyDays, ModelUsageRange::sixtyDays,
                            ModelUsageRange::ninetyDays, ModelUsageRange::oneEightyDays};
constexpr std::int64_t otherColor = 8;
constexpr std::int64_t unknownColor = 9;

class PanelMaker {
  public:
    explicit PanelMaker(const SurfaceInput& input) : input_(input), words_(input.wording()) {}

    ModelUsagePanel panel() {
        panel_.title = words_(DashboardWords::modelTrend);
        panel_.rangePickerName = words_(DashboardWords::modelTrendRange);
        panel_.listTitle = words_(DashboardWords::models);
        panel_.topNote = words_(DashboardWords::topModels);
        panel_.attributionNote = words_(DashboardWords::modelNote);
        panel_.showAll = {.kind = ActionKind::selectModel,
                          .title = words_(DashboardWords::showAllModels)};
        panel_.back = {.kind = ActionKind::showTrend, .title = words_(DashboardWords::backToUsage)};
        panel_.provenance = words_.provenance(input_.localOrigin());
        for (const ModelUsageRange range : ranges) {
            const std::string days = fmt::format("{}", static_cast<int>(range));
            panel_.ranges.push_back(
                {.title = days,
                 .isSelected = range == input_.navigation.modelUsageRange,
                 .action = {.kind = ActionKind::selectModelRange,
                            .target = days,
                            .title = words_(UsageCardWords::activeDays, days)}});
        }
        const LocalUsage* local = input_.local();
        const auto shown =
            local != nullptr && local->modelUsage
                ? trend(*local->modelUsage,
                        {.range = input_.navigation.modelUsageRange, .now = input_.now})
                : std::nullopt;
        if (!shown || shown->series.empty()) {
            panel_.empty = {words_(DashboardWords::noModelHistory),
                            words_(DashboardWords::noModelRecords)};
            panel_.accessibleName = words_(FigureWords::spoken, panel_.title, panel_.empty->title);
        } else {
            show(*shown);
        }
        return std::move(panel_);
    }

  private:
    void show(const ModelUsageTrend& shown) {
        const auto& selected = input_.navigation.selectedModelUsageID;
        ModelSeriesRow all{.name = words_(DashboardWords::allModels), .isSelected = true};
        all.tokensByDay.resize(shown.days.size());
        std::int64_t color = 0;
        for (const ModelUsageSeries& series : shown.series) {
            for (std::size_t day = 0; day < series.tokensByDay.size(); ++day) {
                if (!series.tokensByDay[day]) continue;
                auto& sum = all.tokensByDay[day];
                sum = saturatingAdd(sum.value_or(0), *series.tokensByDay[day]);
            }
            ModelSeriesRow row{.id = series.id,
                               .name = nameOf(series),
                               .colorIndex = series.isOther   ? otherColor
                                             : series.modelID ? color++
                                                              : unknownColor,
                               .tokensByDay = series.tokensByDay,
                               .isSelected = selected == series.id};
            if (row.isSelected) all.isSelected = false;
            finish(row, series.totalTokens, shown.totalTokens);
            panel_.series.push_back(std::move(row));
        }
        addDays(shown, all);
        finish(all, shown.totalTokens, shown.totalTokens);
        const std::size_t days = shown.days.size();
        panel_.gapsNote = words_(DashboardWords::gapsOfDays, days);
        panel_.accessibleName = words_(UsageCardWords::spokenChart, panel_.title,
                                       words_(UsageCardWords::activeDays, days), all.tokens,
                                       panel_.series.front().name);
        panel_.series.insert(panel_.series.begin(), std::move(all));
    }

    std::string nameOf(const ModelUsageSeries& series) const {
        if (series.isOther) return words_(DashboardWords::otherModels);
        if (!series.modelID) return words_(DashboardWords::unknownModel);
        return validUtf8(*series.modelID);
    }

    void finish(ModelSeriesRow& row, std::int64_t tokens, std::int64_t total) const {
        row.tokens = TokenFormatter::format(tokens);
        if (total > 0) {
            row.fraction = static_cast<double>(tokens) / static_cast<double>(total);
            row.share = fmt::format("{:.0f}%", std::round(*row.fraction * 100));
        }
        row.select = {.kind = ActionKind::selectModel, .target = row.id, .title = row.name};
        row.tooltip = words_(FigureWords::spoken, row.name,
                             words_(FigureWords::tokens, words_.digits(tokens)));
        row.accessibleName = fmt::format("{}, {}, {}", row.name, row.tokens, row.share);
    }

    void addDays(const ModelUsageTrend& shown, const ModelSeriesRow& all) {
        for (std::size_t i = 0; i < shown.days.size(); ++i) {
            const std::string day = words_.formatted(shown.days[i], TimeWords::longDay);
            panel_.days.push_back(
                {.label = words_.formatted(shown.days[i], TimeWords::shortDay),
                 .tooltip = all.tokensByDay[i] ? words_(UsageCardWords::dayTokens, day,
                                                        TokenFormatter::format(all.tokensByDay[i]))
                                               : words_(UsageCardWords::noTokenRecords, day)});
        }
    }

    const SurfaceInput& input_;
    Wording words_;
    ModelUsagePanel panel_;
};

}  // namespace

ModelUsagePanel modelUsagePanel(const SurfaceInput& input) {
    return PanelMaker(input).panel();
}

}  // namespace vantry
