#include "corpus/SessionPlanner.h"

#include <algorithm>
#include <utility>

namespace vantry::corpus {

Millis Pace::step(Random& random, Millis low, Millis high, std::int64_t stepsLeft) {
    const Millis room = (end_ - now_) / (2 * (stepsLeft + 1));
    now_ += std::max<Millis>(1, std::min(random.between(low, high), room));
    return now_;
}

std::vector<TurnShape> SessionPlanner::shapes(std::int64_t samples) {
    const Mix& mix = options_.mix;
    std::vector<TurnShape> result;
    while (samples > 0) {
        const bool hasHistory = !result.empty();
        if (hasHistory && random_.chance(mix.compactingTurns)) {
            result.push_back({.compacts = true});
            --samples;
            continue;
        }
        const std::int64_t count = random_.between(1, std::min<std::int64_t>(samples, 12));
        const bool restarts = hasHistory && random_.chance(mix.restartingTurns);
        result.push_back({.samples = count, .restarts = restarts});
        samples -= count;
    }
    return result;
}

TokenBreakdown SessionPlanner::answer() {
    TokenBreakdown tokens;
    tokens.inputTokens = static_cast<std::int64_t>(random_.weight() * 18'000) + 200;
    tokens.outputTokens = static_cast<std::int64_t>(random_.weight() * 900) + 5;
    tokens.cachedInputTokens = random_.between(0, tokens.inputTokens);
    if (random_.chance(0.05)) tokens.cachedInputTokens = tokens.inputTokens;
    tokens.reasoningOutputTokens = random_.between(0, tokens.outputTokens);
    if (random_.chance(0.2)) tokens.reasoningOutputTokens = 0;
    tokens.totalTokens = tokens.inputTokens + tokens.outputTokens;
    return tokens;
}

std::vector<ToolCall> SessionPlanner::calls(bool copiesMayFollow) {
    std::vector<ToolCall> result;
    if (!random_.chance(options_.mix.toolCalls)) return result;
    do {
        // The first tools of the table are the ones used most.
        const std::size_t tool = std::min(random_.below(tools.size()), random_.below(tools.size()));
        const bool isNameless = !copiesMayFollow && random_.chance(options_.mix.callsWithoutId);
        result.push_back({.tool = tool, .callId = isNameless ? "" : "call_" + random_.letters(24)});
        if (skillRandom_.chance(options_.mix.skillCalls)) {
            result.back().skills = skills_.mention(tools[tool].kind, skillRandom_);
        }
    } while (random_.chance(0.2));
    return result;
}

std::size_t SessionPlanner::model(std::size_t previous) {
    if (random_.chance(options_.mix.unusableModels)) {
        return usableModels + random_.below(models.size() - usableModels);
    }
    if (previous < usableModels && random_.chance(0.8)) return previous;
    return random_.below(usableModels);
}

Sample SessionPlanner::sample(Pace& pace, Counter& counter, bool restarts, std::int64_t stepsLeft) {
    Sample result;
    result.at = pace.step(random_, 300, 90 * second, stepsLeft);
    result.added = answer();
    if (restarts && result.added.totalTokens < counter.total.totalTokens) {
        result.total = result.added;
    } else {
        result.total = counter.total;
        result.total.add(result.added);
    }
    counter.total = result.total;
    if (random_.chance(options_.mix.repeatedReadings)) {
        result.repeats = static_cast<int>(random_.between(1, 3));
    }
    return result;
}

void SessionPlanner::converse(Session& session, Counter counter, const Conversation& conversation) {
    Pace pace(conversation.from, options_.end);
    std::int64_t stepsLeft = 0;
    for (const TurnShape& shape : conversation.shapes) stepsLeft += 1 + shape.samples;
    std::optional<TokenBreakdown> firstAnswer = conversation.firstAnswer;
    std::size_t previousModel = random_.below(usableModels);

    for (const TurnShape& shape : conversation.shapes) {
        Turn turn;
        const double pause = random_.fraction();
        const Millis longest = pause < 0.7 ? 20 * minute : pause < 0.9 ? 12 * hour : 6 * day;
        turn.start = pace.step(random_, second, longest, stepsLeft--);
        if (random_.chance(0.04)) {  // to the edge of a day, where zones part
            const Millis midnight = (pace.now() / day + 1) * day;
            if (midnight - pace.now() < (options_.end - pace.now()) / 4) {
                pace.moveTo(midnight - random_.between(0, 1));
                turn.start = pace.now();
            }
        }
        turn.model = previousModel = model(previousModel);
        turn.compacts = shape.compacts;
        turn.estimate = random_.between(3'000, 12'000);
        turn.reopened = !session.turns.empty() && random_.chance(options_.mix.resumedTurns);
        turn.interrupted = !shape.compacts && random_.chance(options_.mix.interruptedTurns);
        for (std::int64_t i = 0; i < shape.samples; ++i) {
            if (firstAnswer) pace.moveTo(conversation.firstAnswerAfter);
            const TokenBreakdown before = counter.total;
            Sample next = sample(pace, counter, shape.restarts && i == 0, stepsLeft--);
            if (firstAnswer) {
                next.added = *std::exchange(firstAnswer, std::nullopt);
                next.total = before;
                next.total.add(next.added);
                counter.total = next.total;
            }
            if (!shape.compacts) next.calls = calls(conversation.copiesMayFollow);
            turn.samples.push_back(std::move(next));
        }
        session.turns.push_back(std::move(turn));
    }
}

}  // namespace vantry::corpus
