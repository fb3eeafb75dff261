#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "corpus/Clock.h"
#include "records/TokenBreakdown.h"

namespace vantry::corpus {

/// How a version of Codex writes a log: the older ones copy a parent's history into a fork, the
/// newer ones number their lines and refer to it.
enum class LogFormat { copying, paginated };

struct Tool {
    std::string_view name;
    std::string_view kind;  ///< the payload's type
};

inline constexpr std::array<Tool, 9> tools{{{"exec_command", "function_call"},
                                            {"apply_patch", "custom_tool_call"},
                                            {"shell", "function_call"},
                                            {"update_plan", "function_call"},
                                            {"write_stdin", "function_call"},
                                            {"view_image", "function_call"},
                                            {"mcp__tracker__search", "function_call"},
                                            {"spawn_agent", "function_call"},
                                            {"js_repl", "custom_tool_call"}}};

/// A model as a log has it. One that cannot be used has no name: what follows it is of no known
/// model.
struct Model {
    std::string_view json;  ///< the value, empty for no key
    std::optional<std::string_view> name;
};

inline constexpr std::size_t usableModels = 7;
inline constexpr std::array<Model, 11> models{
    {{R"("gpt-5-codex")", "gpt-5-codex"},
     {R"("gpt-5.4")", "gpt-5.4"},
     {R"("gpt-5.4-mini")", "gpt-5.4-mini"},
     {R"("gpt-5.1-codex-max")", "gpt-5.1-codex-max"},
     {R"("  gpt-5.2 \n")", "gpt-5.2"},
     {R"("gpt-5.4")", "gpt-5.4"},
     {R"("a-model-nobody-priced")", "a-model-nobody-priced"},
     {"", std::nullopt},
     {"42", std::nullopt},
     {R"("   ")", std::nullopt},
     {R"("gpt-\u0007-5")", std::nullopt}}};

/// Arguments with the name of a Skill's file in them.
struct SkillMention {
    std::string arguments;           ///< the text that the call's line holds as a JSON text
    std::vector<std::size_t> loads;  ///< indices in the home's Skills, each once
};

struct ToolCall {
    std::size_t tool = 0;
    std::string callId;  ///< empty: the line has none
    SkillMention skills;
};

/// One answer of the model.
struct Sample {
    Millis at = 0;
    TokenBreakdown added;
    TokenBreakdown total;  ///< the counter after it; smaller than before where it started anew
    int repeats = 0;       ///< how often the same reading stands in the log once more
    std::vector<ToolCall> calls;
};

struct Turn {
    Millis start = 0;
    std::size_t model = 0;
    bool compacts = false;      ///< begins and ends with a repeated reading
    bool interrupted = false;   ///< nothing tells its end
    bool reopened = false;      ///< the session was resumed, and its header written again
    std::int64_t estimate = 0;  ///< what a compaction says was last used: no reading, only a total
    std::vector<Sample> samples;

    Millis end() const { return samples.empty() ? start : samples.back().at; }
};

/// What a log last told of its counter.
struct Counter {
    TokenBreakdown total;
    TokenBreakdown last;
    bool told = false;

    void advance(const Turn& turn) {
        if (turn.samples.empty()) return;
        total = turn.samples.back().total;
        last = turn.compacts ? TokenBreakdown{.totalTokens = turn.estimate}
                             : turn.samples.back().added;
        told = true;
    }
};

enum class SessionKind { root, copyingFork, inheritingFork, subagent, guardian };

enum class LogEnd {
    finished,
    fragment,      ///< the beginning of a line that does not matter
    unterminated,  ///< a whole line without its line feed
};

/// A place in the log of a session of the same family: before the turn of that number.
struct HistoryCut {
    std::size_t session = 0;
    std::size_t turns = 0;
};

/// Where a turn begins in the finished log.
struct LineMark {
    std::int64_t ordinal = 0;
    std::int64_t offset = 0;
};

/// One conversation, decided to the last token but not yet written.
struct Session {
    std::string id;
    SessionKind kind = SessionKind::root;
    std::string variant;  ///< what is special about it, for whoever looks for a fault
    LogFormat format = LogFormat::paginated;
    Millis createdAt = 0;
    std::string project;
    std::string client = "vscode";
    std::optional<std::size_t> parent;  ///< in the family
    std::string claimedParent;          ///< in the header, where `parent` is not set
    bool namesSpawner = false;          ///< the header's source tells the parent
    bool carriesParentHeader = false;
    std::optional<HistoryCut> base;  ///< the counter goes on from there
    Counter inherited;
    std::size_t copiedTurns = 0;  ///< the first of `turns`, with the times of the copy
    std::vector<Turn> turns;
    LogEnd end = LogEnd::finished;
    bool archived = false;
    bool damaged = false;  ///< holds a line that must not be believed
    bool bad = false;      ///< cannot be counted

    std::vector<LineMark> marks;  ///< set when written: one a turn, and one for the end

    Millis lastAt() const { return turns.empty() ? createdAt : turns.back().end(); }
};

/// A root with all that came of it, parents before their children.
using Family = std::vector<Session>;

}  // namespace vantry::corpus
