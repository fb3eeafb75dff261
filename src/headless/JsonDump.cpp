#include "headless/JsonDump.h"

#include <ostream>
#include <set>
#include <string>

#include "presentation/status/RuntimeMenuSummary.h"
#include "presentation/words/NoticeWords.h"
#include "presentation/words/TaskBoardWords.h"

namespace vantry {

namespace {

JsonValue shown(const auto& value) {
    return encode(value, RecordForm::shown);
}

JsonValue count(std::size_t number) {
    return number;
}

JsonValue::Object& membersOf(JsonValue& object) {
    return std::get<JsonValue::Object>(object.storage());
}

JsonValue words(const Notices& notices) {
    JsonValue::Array texts;
    for (const Notice& notice : notices) texts.emplace_back(text(notice, WidgetLanguage::zh));
    return texts;
}

// Projects of no folder get their name.
void nameProjects(ProjectBoard& board) {
    const auto name = [](auto& projects) {
        for (auto& project : projects) {
            if (project.name.empty()) project.name = unclassifiedProject.zh;
        }
    };
    if (auto& today = board.todayProjects) name(*today);
    name(board.recentProjects);
    name(board.allProjects);
    for (auto* byDimension : {&board.dimensionBreakdown.projectsByToolID,
                              &board.dimensionBreakdown.projectsBySkillID}) {
        for (auto& [dimension, projects] : *byDimension) name(projects);
    }
}

// The record with its words, which are Chinese here in every language.
JsonValue shownSnapshot(UsageSnapshot snapshot) {
    if (snapshot.local && snapshot.local->projectBoard) {
        nameProjects(*snapshot.local->projectBoard);
    }
    JsonValue shownValue = shown(snapshot);
    JsonValue::Object& members = membersOf(shownValue);
    members["messages"] = words(snapshot.messages);
    members["localReadMessages"] = words(snapshot.localReadMessages);
    members["hybridReadMessages"] = words(snapshot.hybridReadMessages);
    if (snapshot.taskBoard) {
        JsonValue::Array columns;
        for (const TaskColumn& column : snapshot.taskBoard->columns) {
            membersOf(columns.emplace_back(shown(column)))["title"] = columnTitle(column.id).zh;
        }
        membersOf(members["taskBoard"])["columns"] = std::move(columns);
    }
    return shownValue;
}

JsonValue shownRuntimes(const std::vector<RuntimeUsageSnapshot>& runtimes) {
    JsonValue::Array values;
    for (const RuntimeUsageSnapshot& runtime : runtimes) {
        membersOf(values.emplace_back(shown(runtime)))["snapshot"] =
            shownSnapshot(runtime.snapshot);
    }
    return values;
}

// The number of different values that `of` gives for the buckets; empty answers do not count.
template <class Key>
JsonValue distinct(const LocalModelUsage& usage, Key of) {
    std::set<typename decltype(of(LocalModelDayUsage{}))::value_type> values;
    for (const LocalModelDayUsage& bucket : usage.buckets) {
        if (auto value = of(bucket)) values.insert(*std::move(value));
    }
    return count(values.size());
}

void addLocalDetail(JsonValue::Object& members, const LocalUsage& local) {
    members["localGapCount"] = local.gaps.count();
    if (local.projectBoard) members["projectCount"] = count(local.projectBoard->allProjects.size());
    members["toolCount"] = count(local.toolUsages.size());
    members["skillCount"] = count(local.skillUsages.size());
    if (!local.modelUsage) return;
    members["modelUsageAvailable"] = true;
    members["modelDayCount"] = distinct(*local.modelUsage, [](const LocalModelDayUsage& bucket) {
        return std::optional(bucket.dayStart.secondsSince1970());
    });
    members["modelCount"] = distinct(
        *local.modelUsage, [](const LocalModelDayUsage& bucket) { return bucket.modelID; });
}

JsonValue probeRuntimeSummaryJSONObject(const RuntimeUsageSnapshot& runtime, Date now) {
    const RuntimeMenuSummary seen = summary(runtime, now);
    const UsageSnapshot& snapshot = runtime.snapshot;
    const bool hasDetail = ReaderControlState::localDetailedUsageIsAvailable(
        snapshot.localUsageReadStatus, snapshot.local && snapshot.local->detailedUsage);
    JsonValue::Object members{{"id", rawText(runtime.scope)},
                              {"status", rawText(seen.status)},
                              {"quotaAvailable", seen.quotaRemainingPercent.has_value()},
                              {"localUsageAvailable", hasDetail},
                              {"localGapCount", nullptr},
                              {"taskBoardAvailable", snapshot.taskBoard.has_value()},
                              {"taskCount", nullptr},
                              {"trendDayCount", nullptr},
                              {"projectCount", nullptr},
                              {"toolCount", nullptr},
                              {"skillCount", nullptr},
                              {"modelUsageAvailable", false},
                              {"modelDayCount", nullptr},
                              {"modelCount", nullptr}};
    if (snapshot.taskBoard) members["taskCount"] = snapshot.taskBoard->totalCount();
    if (snapshot.local && snapshot.local->usageTrend) {
        members["trendDayCount"] = count(snapshot.local->usageTrend->dayBuckets.size());
    }
    if (hasDetail) addLocalDetail(members, *snapshot.local);
    return members;
}

void print(const JsonValue& document, std::ostream& output) {
    if (const auto text = writeJson(document, JsonLayout::pretty)) output << *text << std::endl;
}

}  // namespace

JsonValue probeSummaryJSONObject(const MultiRuntimeUsageSnapshot& snapshot, Date now) {
    JsonValue::Array runtimes;
    for (const RuntimeUsageSnapshot& runtime : snapshot.runtimes) {
        runtimes.push_back(probeRuntimeSummaryJSONObject(runtime, now));
    }
    return JsonValue::Object{{"schemaVersion", 1},
                             {"redacted", true},
                             {"refreshedAt", shown(snapshot.refreshedAt)},
                             {"runtimeCount", count(snapshot.runtimes.size())},
                             {"runtimes", std::move(runtimes)}};
}

JsonValue dumpJSONObject(const MultiRuntimeUsageSnapshot& snapshot) {
    const RuntimeUsageSnapshot* codex = snapshot.runtime(RuntimeScope::codex);
    return JsonValue::Object{
        {"schemaVersion", 2},
        {"refreshedAt", shown(snapshot.refreshedAt)},
        {"aggregate", shownSnapshot(snapshot.aggregate)},
        {"runtimes", shownRuntimes(snapshot.runtimes)},
        {"compat", JsonValue::Object{{"codex", codex != nullptr ? shownSnapshot(codex->snapshot)
                                                                : JsonValue()}}}};
}

void dumpProbeSummaryJSON(const MultiRuntimeUsageSnapshot& snapshot, Date now,
                          std::ostream& output) {
    print(probeSummaryJSONObject(snapshot, now), output);
}

void dumpJSON(const MultiRuntimeUsageSnapshot& snapshot, std::ostream& output) {
    print(dumpJSONObject(snapshot), output);
}

}  // namespace vantry
