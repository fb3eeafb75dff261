#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "corpus/Corpus.h"
#include "corpus/Random.h"
#include "corpus/SessionPlan.h"
#include "corpus/Skills.h"

namespace vantry::corpus {

/// What one turn is to be like; the rest is chance.
struct TurnShape {
    std::int64_t samples = 1;
    bool compacts = false;
    bool restarts = false;  ///< the counter starts anew with its first answer
};

/// A clock that goes forward and leaves room for all steps that are still to come.
class Pace {
  public:
    Pace(Millis now, Millis end) : now_(now), end_(end) {}

    Millis now() const { return now_; }

    /// By `low` to `high`, or less where that would not leave enough.
    Millis step(Random& random, Millis low, Millis high, std::int64_t stepsLeft);
    void moveTo(Millis at) { now_ = std::max(now_, std::min(at, end_)); }

  private:
    Millis now_;
    Millis end_;
};

/// Fills sessions with turns, answers and tool calls.
class SessionPlanner {
  public:
    SessionPlanner(const CorpusOptions& options, Random& random)
        : options_(options), random_(random), skills_(options.home), skillRandom_(~options.seed) {}

    /// So many answers in turns of a dozen at most, compactions and restarts among them.
    std::vector<TurnShape> shapes(std::int64_t samples);

    struct Conversation {
        std::vector<TurnShape> shapes;
        Millis from = 0;
        Millis firstAnswerAfter = 0;  ///< no answer stands before that time
        std::optional<TokenBreakdown> firstAnswer;
        bool copiesMayFollow = false;  ///< so every call must be known again
    };

    /// Appends the turns, going on from `counter`.
    void converse(Session& session, Counter counter, const Conversation& conversation);

    TokenBreakdown answer();

  private:
    Sample sample(Pace& pace, Counter& counter, bool restarts, std::int64_t stepsLeft);
    std::vector<ToolCall> calls(bool copiesMayFollow);
    std::size_t model(std::size_t previous);

    const CorpusOptions& options_;
    Random& random_;
    Skills skills_;
    Random skillRandom_;  ///< of its own: Skills change nothing else of a home
};

}  // namespace vantry::corpus
