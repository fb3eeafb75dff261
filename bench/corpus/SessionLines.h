#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "corpus/Filler.h"
#include "corpus/Random.h"
#include "corpus/RolloutLog.h"
#include "corpus/SessionPlan.h"

namespace vantry::corpus {

/// The shapes of the lines of a log, each as the Codex of the log's format writes it.
class SessionLines {
  public:
    SessionLines(RolloutLog& log, const Session& session, const Filler& filler, Random& random)
        : log_(log), session_(session), filler_(filler), random_(random) {}

    /// What a header says beyond its session's own facts.
    struct Header {
        Millis at = 0;
        std::size_t instructionBytes = 0;
        std::string_view parentId;  ///< empty for none
        std::string_view baseId;    ///< empty for a counter that starts at zero
        LineMark baseMark;
    };
    void header(const Session& of, const Header& header);

    void turnStarts(const Turn& turn);
    void turnContext(const Turn& turn);
    void turnEnds(const Turn& turn);
    void userMessage(Millis at);
    void agentMessage(Millis at);
    /// The settings that a new session, forked or not, begins with.
    void settings(Millis at);
    /// What only the first turn carries: instructions, environment, the state of the world.
    void surroundings(Millis at);

    void toolCall(const ToolCall& call, Millis at);
    void toolOutput(const ToolCall& call, Millis at, std::size_t bytes);
    void compacted(Millis at, std::size_t bytes);
    /// A line of about that size that does not matter.
    void bulk(Millis at, std::size_t bytes);
    /// A line that does not matter, with a hole of `bytes` where its text would be: no reader may
    /// take the zeros for JSON, and none has a reason to try.
    void hole(Millis at, std::int64_t bytes);

    void usageRecord(const Sample& sample);
    void reading(Millis at, const Counter& counter);
    void rateLimitsAlone(Millis at);
    /// Lines that look like something and are nothing.
    void oddity(Millis at);
    void tornLine(Millis at);

    /// A name for something that is told apart from all else in a home.
    std::string uuid(Millis at);

  private:
    bool paginated() const { return log_.format() == LogFormat::paginated; }
    void usage(std::string_view key, const TokenBreakdown& tokens);
    void source(const Session& of, std::string_view parentId);
    void item(std::string_view type, Millis at);
    void endItem();

    RolloutLog& log_;
    const Session& session_;
    const Filler& filler_;
    Random& random_;
    std::string turnId_;
    std::int64_t historySequence_ = 0;
};

/// A time-ordered UUID: no two are equal, and those of a later time sort later.
std::string makeUuid(Millis at, Random& random);

/// Quoted for JSON.
std::string jsonText(std::string_view text);

}  // namespace vantry::corpus
