#include "corpus/Truth.h"

#include <fstream>
#include <stdexcept>

#include "platform/JsonWriter.h"

namespace vantry::corpus {

namespace {

JsonValue json(const TokenBreakdown& tokens) {
    return JsonValue::Object{{"input", tokens.inputTokens},
                             {"cached", tokens.cachedInputTokens},
                             {"output", tokens.outputTokens},
                             {"reasoning", tokens.reasoningOutputTokens},
                             {"total", tokens.totalTokens}};
}

JsonValue json(const std::optional<std::string>& text) {
    return text ? JsonValue(*text) : JsonValue(nullptr);
}

JsonValue json(const std::map<std::string, TokenBreakdown>& parts) {
    JsonValue::Object object;
    for (const auto& [key, tokens] : parts) object.emplace(key, json(tokens));
    return object;
}

JsonValue json(const std::map<std::optional<std::string>, TokenBreakdown>& parts) {
    JsonValue::Array array;
    for (const auto& [model, tokens] : parts) {
        array.emplace_back(JsonValue::Object{{"model", json(model)}, {"tokens", json(tokens)}});
    }
    return array;
}

JsonValue json(const std::map<std::string, std::int64_t>& counts) {
    JsonValue::Object object;
    for (const auto& [name, count] : counts) object.emplace(name, count);
    return object;
}

JsonValue json(std::optional<std::int64_t> number) {
    return number ? JsonValue(*number) : JsonValue(nullptr);
}

JsonValue json(const std::map<std::string, TruthSkill>& skills) {
    JsonValue::Object object;
    for (const auto& [path, skill] : skills) {
        object.emplace(path, JsonValue::Object{{"loads", skill.loads},
                                               {"threads", skill.threads},
                                               {"bytes", json(skill.bytes)},
                                               {"tokenEstimate", json(skill.tokenEstimate)}});
    }
    return object;
}

JsonValue json(const TruthThread& thread) {
    return JsonValue::Object{{"id", thread.id},
                             {"kind", thread.kind},
                             {"variant", thread.variant},
                             {"rolloutPath", thread.rolloutPath},
                             {"project", thread.project},
                             {"indexModel", json(thread.indexModel)},
                             {"parent", json(thread.parent)},
                             {"root", thread.root},
                             {"updatedAt", thread.updatedAt},
                             {"tokens", json(thread.tokens)},
                             {"lastReading", json(thread.lastReading)},
                             {"toolCalls", json(thread.toolCalls)},
                             {"skillLoads", json(thread.skillLoads)},
                             {"bad", thread.bad}};
}

}  // namespace

void addEvent(Truth& truth, const TruthEvent& event) {
    TruthThread& thread = truth.threads[event.thread];
    std::optional<std::string> model;
    if (event.model) model = truth.models[*event.model];
    ++truth.eventCount;
    thread.tokens.add(event.tokens);
    truth.total.add(event.tokens);
    truth.days[dayText(event.at)].add(event.tokens);
    truth.projects[thread.project].add(event.tokens);
    truth.conversations[thread.root].add(event.tokens);
    truth.logModels[model].add(event.tokens);
    truth.attributedModels[model ? model : thread.indexModel].add(event.tokens);
}

void sumUpThreads(Truth& truth) {
    for (TruthThread& thread : truth.threads) {
        if (!thread.bad) truth.sumOfLastReadings.add(thread.lastReading);
        for (const auto& [name, count] : thread.toolCalls) truth.toolCalls[name] += count;
        for (const auto& [path, count] : thread.skillLoads) {
            truth.skills[path].loads += count;
            ++truth.skills[path].threads;
        }
    }
    std::erase_if(truth.skills, [](const auto& skill) { return skill.second.loads == 0; });
}

void writeTruth(const Truth& truth, const std::filesystem::path& path) {
    JsonValue::Array threads;
    for (const TruthThread& thread : truth.threads) threads.push_back(json(thread));
    const JsonValue document =
        JsonValue::Object{{"rows", truth.rows},
                          {"lastUpdatedAt", truth.lastUpdatedAt},
                          {"logBytes", truth.logBytes},
                          {"tokenEventLines", truth.tokenEventLines},
                          {"events", truth.eventCount},
                          {"total", json(truth.total)},
                          {"days", json(truth.days)},
                          {"projects", json(truth.projects)},
                          {"conversations", json(truth.conversations)},
                          {"toolCalls", json(truth.toolCalls)},
                          {"skills", json(truth.skills)},
                          {"logModels", json(truth.logModels)},
                          {"attributedModels", json(truth.attributedModels)},
                          {"sumOfLastReadings", json(truth.sumOfLastReadings)},
                          {"threads", threads}};
    const std::optional<std::string> text = writeJson(document, JsonLayout::pretty);
    std::ofstream file(path, std::ios::binary);
    if (text) file << *text << '\n';
    file.close();
    if (!text || !file) throw std::runtime_error("cannot write " + path.string());
}

}  // namespace vantry::corpus
