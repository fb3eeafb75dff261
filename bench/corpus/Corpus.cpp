#include "corpus/Corpus.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <stdexcept>
#include <string_view>

#include "corpus/FamilyPlanner.h"
#include "corpus/SessionWriter.h"
#include "corpus/Skills.h"
#include "corpus/StateDatabase.h"
#include "corpus/Truth.h"

namespace vantry::corpus {

namespace {

constexpr std::array<std::string_view, 5> kindNames{"root", "copying fork", "inheriting fork",
                                                    "subagent", "guardian"};

constexpr std::array<std::string_view, 4> badNames{"unverifiable-fork", "missing-parent",
                                                   "parent-cycle", "damaged-line"};

constexpr std::array<std::string_view, 6> titles{
    "Fix the parser",          "it's \"quoted\" & 'marked'",
    "数一数 tokens 🙂",   "# Files mentioned by the user: raw prompt, not a conversation name",
    "first line\nsecond line", "x"};

std::int64_t usualAnswers(const CorpusOptions& options) {
    if (options.tokenEvents > 0) return options.tokenEvents;
    return std::max(options.conversations * 4, options.totalBytes / 50'000);
}

/// Carries out what the planner decided.
class Maker {
  public:
    explicit Maker(const CorpusOptions& options)
        : options_(options),
          random_(options.seed),
          filler_(options.seed),
          skills_(options.home),
          planner_(options_, random_, {options.conversations, usualAnswers(options)}),
          bytes_{options.conversations, options.totalBytes} {}

    Truth make();

  private:
    void take(Family family);
    void write(Family& family, std::size_t index);
    void note(const Family& family, std::size_t index, const ThreadRow& row);
    void noteCalls(const Sample& sample);
    ThreadRow row(const Family& family, std::size_t index, const std::string& path);
    void addRowWithoutLog();
    std::optional<std::uint32_t> modelNumber(const Model& model);

    const CorpusOptions& options_;
    Random random_;
    Filler filler_;
    Skills skills_;
    FamilyPlanner planner_;
    Budget bytes_;
    std::vector<ThreadRow> rows_;
    Truth truth_;
};

Truth Maker::make() {
    std::int64_t left = options_.conversations;
    while (left > 0) {
        Family family = planner_.next(left);
        left -= static_cast<std::int64_t>(family.size());
        take(std::move(family));
    }
    for (const BadSession kind : options_.bad) take(planner_.bad(kind));
    std::filesystem::create_directories(options_.home / ".codex");
    writeStateDatabase(options_.home / ".codex/state_5.sqlite", rows_);
    truth_.rows = static_cast<std::int64_t>(rows_.size());
    skills_.write();
    for (const SkillFile& file : skills_.files()) {
        truth_.skills[file.path] = {.bytes = file.bytes, .tokenEstimate = file.tokenEstimate};
    }
    sumUpThreads(truth_);
    writeTruth(truth_, options_.home / "truth.json");
    return std::move(truth_);
}

void Maker::take(Family family) {
    for (std::size_t i = 0; i < family.size(); ++i) write(family, i);
    if (random_.chance(options_.mix.rowsWithoutLog)) addRowWithoutLog();
}

void Maker::write(Family& family, std::size_t index) {
    const Session& session = family[index];
    const std::string name =
        fmt::format("rollout-{}-{}.jsonl", fileTimeText(session.createdAt), session.id);
    std::string folder = dayText(session.createdAt);
    std::replace(folder.begin(), folder.end(), '-', '/');
    const std::filesystem::path codex = options_.home / ".codex";
    const std::filesystem::path path =
        session.archived ? codex / "archived_sessions" / name : codex / "sessions" / folder / name;

    const std::int64_t bytes = bytes_.next(random_);
    const WrittenLog written = writeSession(
        family, index, {.path = path, .bytes = bytes, .seed = random_.next()}, options_, filler_);
    bytes_.amount =
        std::max<std::int64_t>(bytes_.amount + bytes - (written.bytes - written.holeBytes), 0);
    truth_.logBytes += written.bytes;
    truth_.tokenEventLines += written.tokenEventLines;
    rows_.push_back(row(family, index, path.string()));
    truth_.lastUpdatedAt = std::max(truth_.lastUpdatedAt, rows_.back().updatedAt / second);
    note(family, index, rows_.back());
}

ThreadRow Maker::row(const Family& family, std::size_t index, const std::string& path) {
    const Session& session = family[index];
    ThreadRow row{.id = session.id,
                  .rolloutPath = path,
                  .createdAt = session.createdAt,
                  .updatedAt = session.lastAt(),
                  .source = session.client,
                  .cwd = session.project,
                  .title = std::string(random_.pick(titles)),
                  .archived = session.archived};
    row.historyMode = session.format == LogFormat::paginated ? "paginated" : "legacy";
    if (session.kind == SessionKind::guardian) {
        row.source = R"({"subagent":{"other":"guardian"}})";
        row.threadSource = "subagent";
    } else if (session.namesSpawner) {
        row.source = fmt::format(R"({{"subagent":{{"thread_spawn":{{"parent_thread_id":"{}",)"
                                 R"("depth":1,"agent_nickname":"Lovelace"}}}}}})",
                                 family[*session.parent].id);
        if (session.format == LogFormat::paginated) row.threadSource = "subagent";
    } else if (random_.chance(0.3)) {
        row.threadSource = session.client;
    }
    if (!session.turns.empty() && !random_.chance(0.05)) {
        row.model = models[session.turns.back().model].name;
    }
    if (random_.chance(0.5)) row.name = std::string(random_.pick(titles));
    if (random_.chance(0.05)) row.name = std::string(random_.pick(titles)) + std::string(400, 'n');
    Counter counter = session.inherited;
    for (const Turn& turn : session.turns) counter.advance(turn);
    row.tokensUsed = counter.total.totalTokens;
    return row;
}

void Maker::note(const Family& family, std::size_t index, const ThreadRow& row) {
    const Session& session = family[index];
    const Session* root = &session;
    while (root->parent) root = &family[*root->parent];
    const auto number = static_cast<std::uint32_t>(truth_.threads.size());
    TruthThread thread{.id = row.id,
                       .kind = std::string(kindNames[static_cast<std::size_t>(session.kind)]),
                       .variant = session.variant,
                       .rolloutPath = row.rolloutPath,
                       .project = row.cwd,
                       .indexModel = row.model,
                       .root = root->id,
                       .updatedAt = row.updatedAt / second,
                       .bad = session.bad};
    if (session.parent) thread.parent = family[*session.parent].id;
    truth_.threads.push_back(std::move(thread));
    for (std::size_t i = 0; i < session.turns.size(); ++i) {
        const Turn& turn = session.turns[i];
        const std::optional<std::uint32_t> model = modelNumber(models[turn.model]);
        for (const Sample& sample : turn.samples) {
            truth_.threads.back().lastReading = sample.total;
            if (i < session.copiedTurns || session.bad) continue;
            const TruthEvent event{
                .at = sample.at, .thread = number, .model = model, .tokens = sample.added};
            addEvent(truth_, event);
            if (options_.keepsEvents) truth_.events.push_back(event);
            noteCalls(sample);
        }
    }
}

void Maker::noteCalls(const Sample& sample) {
    TruthThread& thread = truth_.threads.back();
    for (const ToolCall& call : sample.calls) {
        ++thread.toolCalls[std::string(tools[call.tool].name)];
        for (const std::size_t skill : call.skills.loads) {
            ++thread.skillLoads[skills_.files()[skill].path];
        }
    }
}

/// Codex makes the row before the log.
void Maker::addRowWithoutLog() {
    ThreadRow row = rows_.back();
    row.id = "without-a-log-" + random_.letters(8);
    row.rolloutPath = "";
    row.tokensUsed = 0;
    rows_.push_back(std::move(row));
}

std::optional<std::uint32_t> Maker::modelNumber(const Model& model) {
    if (!model.name) return std::nullopt;
    const auto found = std::find(truth_.models.begin(), truth_.models.end(), *model.name);
    if (found == truth_.models.end()) {
        truth_.models.emplace_back(*model.name);
        return static_cast<std::uint32_t>(truth_.models.size() - 1);
    }
    return static_cast<std::uint32_t>(found - truth_.models.begin());
}

}  // namespace

std::optional<BadSession> badSession(std::string_view name) {
    const auto* found = std::find(badNames.begin(), badNames.end(), name);
    if (found == badNames.end()) return std::nullopt;
    return static_cast<BadSession>(found - badNames.begin());
}

Truth makeCorpus(const CorpusOptions& options) {
    if (!options.home.is_absolute()) throw std::runtime_error("the home's path is not absolute");
    if (std::filesystem::exists(options.home / ".codex/state_5.sqlite")) {
        throw std::runtime_error(options.home.string() + " has a state database already");
    }
    return Maker(options).make();
}

}  // namespace vantry::corpus
