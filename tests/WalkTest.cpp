// Homes live on for weeks under one cache. Whatever becomes of their logs, the figures are those of
// a home in which every request was only ever written down.

#include <fmt/format.h>
#include <fstream>
#include <list>

#include "corpus/Clock.h"
#include "corpus/Random.h"
#include "corpus/SessionLines.h"
#include "local/analytics/LocalUsageReader.h"
#include "platform/Compression.h"
#include "support/Program.h"

namespace vantry {

namespace {

namespace fs = std::filesystem;
using corpus::Millis;
using Figures = std::map<std::string, double>;

const fs::path day = "sessions/2026/03/24";

struct Mark {
    std::size_t size = 0;
    TokenBreakdown total;
    int ordinal = 0;
    bool isWhole = true;  ///< not between a record and its reading
};

struct Log {
    std::string thread, segment = {}, cwd = {};
    bool hasRecords = true;
    TokenBreakdown total = {};
    int ordinal = 0;
    fs::path path = {};  ///< below Codex's home
    std::string text = {};
    std::vector<Mark> marks = {};
    std::size_t keptBytes = 0;  ///< other logs go on from there
    bool isInTurn = false, hasRow = false, isCurrent = true, isThere = true, isPacked = false;
    bool isAhead = false, copiesHistory = false, inherits = false, hasCopy = false, wasCut = false;

    void line(Millis at, std::string_view type, const std::string& payload) {
        text += fmt::format("{{\"timestamp\":\"{}\",\"ordinal\":{},\"type\":\"{}\",",
                            corpus::timestampText(at), ordinal++, type);
        text += "\"payload\":{" + payload + "}}\n";
    }
    void mark(bool isWhole = true) { marks.push_back({text.size(), total, ordinal, isWhole}); }
    void header(Millis at, const std::string& more = "") {
        line(at, "session_meta", fmt::format(R"("id":"{}","cwd":"{}"{})", thread, cwd, more));
        mark();
    }
};

/// An answer of the model, in a turn of its own if `turn` says so.
struct Request {
    Millis at = 0;
    std::string id, turn = {}, tools = {};  ///< a letter is a tool
    TokenBreakdown tokens = {};

    static std::string usage(std::string_view name, const TokenBreakdown& all) {
        return fmt::format(
            R"("{}":{{"input_tokens":{},"cached_input_tokens":{},"output_tokens":{},)"
            R"("reasoning_output_tokens":{},"total_tokens":{}}})",
            name, all.inputTokens, all.cachedInputTokens, all.outputTokens,
            all.reasoningOutputTokens, all.totalTokens);
    }
    void addTo(Log& log) const {
        if (!turn.empty()) log.line(at, "turn_context", turn);
        constexpr auto call = R"("type":"function_call","name":"{}","call_id":"{}")";
        for (const char tool : tools)
            log.line(at, "response_item", fmt::format(call, tool, id + tool));
        if (log.hasRecords) {
            constexpr auto record = R"("thread_id":"{}","response_id":"{}",{})";
            log.line(at, "token_usage_record",
                     fmt::format(record, log.thread, id, usage("usage", tokens)));
            log.mark(false);
        }
        log.total.add(tokens);
        constexpr auto reading = R"("type":"token_count","info":{{{},{}}})";
        log.line(at, "event_msg",
                 fmt::format(reading, usage("total_token_usage", log.total),
                             usage("last_token_usage", tokens)));
        log.mark();
        log.isInTurn = true;
    }
};

/// Every number of a record by the names that lead to it, but for what is said of files and
/// threads.
void flatten(const JsonValue& value, const std::string& name, Figures& into) {
    static const std::set<std::string, std::less<>> left{
        "gaps",          "recentThreads",      "parsedFileCount",    "tokenEventCount",
        "lastUpdatedAt", "detailsByProjectID", "dimensionBreakdown", "capturedAt"};
    if (const auto* whole = std::get_if<std::int64_t>(&value.storage())) {
        into[name] = static_cast<double>(*whole);
    } else if (const auto* number = std::get_if<double>(&value.storage())) {
        into[name] = *number;
    } else if (const auto* members = std::get_if<JsonValue::Object>(&value.storage())) {
        for (const auto& [key, member] : *members) {
            if (!left.contains(key)) flatten(member, fmt::format("{} {}", name, key), into);
        }
    } else if (const auto* elements = std::get_if<JsonValue::Array>(&value.storage())) {
        for (const JsonValue& each : *elements) {
            flatten(each, fmt::format("{} {}", name, &each - elements->data()), into);
        }
    }
}

class Walk : public testing::TestWithParam<int> {
  protected:
    Walk() {
        for (const fs::path& home : homes_) {
            fs::create_directories(home / day);
            fs::create_directories(home / "sessions/2026/03/25");
            fs::create_directories(home / "archived_sessions");
            databases_.emplace_back(home / "state_5.sqlite");
        }
        sql("CREATE TABLE threads (id TEXT, rollout_path TEXT, updated_at INTEGER, cwd TEXT, "
            "model TEXT);");
        Log none{.thread = ""};
        begin(none);
    }

    /// One thing happens to one log, or to the reader.
    void step() {
        enum Needs { anyLog, thereLog, openLog };
        static constexpr std::tuple<int, std::string_view, Needs, void (Walk::*)(Log&)> kinds[] = {
            {30, "go on", openLog, &Walk::ask},
            {6, "begin beside", anyLog, &Walk::begin},
            {10, "cut", openLog, &Walk::cut},
            {7, "revert", openLog, &Walk::revert},
            {8, "fork", thereLog, &Walk::fork},
            {6, "copying fork", thereLog, &Walk::copyingFork},
            {12, "remove or bring back", anyLog, &Walk::vanish},
            {5, "move", thereLog, &Walk::move},
            {5, "pack or unpack", thereLog, &Walk::pack},
            {8, "copy or drop the copy", thereLog, &Walk::copy},
            {9, "row", anyLog, &Walk::changeRow},
            {6, "zone", anyLog, &Walk::changeZone},
            {6, "restart", anyLog, &Walk::restart},
            {6, "sleep", anyLog, &Walk::sleep}};
        since_ = now_;
        now_ += random_.between(1, 30) * corpus::minute;
        std::int64_t left = random_.between(0, 123);
        const auto& [weight, name, needs, act] = *std::ranges::find_if(
            kinds, [&](const auto& kind) { return (left -= std::get<0>(kind)) < 0; });
        std::vector<Log*> fit;
        for (Log& log : logs_) {
            const bool isOpen = log.isThere && log.isCurrent;
            if (needs == anyLog || (needs == openLog ? isOpen : log.isThere)) fit.push_back(&log);
        }
        if (fit.empty()) return;
        Log& log = *random_.pick(fit);
        story_ += fmt::format("{} {}\n", name, log.path.filename().string());
        (this->*act)(log);
    }

    /// Reads both homes: the figures in which they differ.
    std::string differences() {
        ReaderCaches cold;
        Figures wrong = figures(homes_[0], *caches_);
        Figures right = figures(homes_[1], cold);
        // Which of many threads are the recent ones, the times of files decide as well.
        const auto dropOthers = [](Figures& threads, const Figures& known) {
            std::erase_if(threads, [&](const auto& each) {
                return each.first.starts_with("thread") && !known.contains(each.first);
            });
        };
        dropOthers(wrong, right);
        dropOthers(right, wrong);
        for (const auto& [name, value] : right) wrong[name] -= value;
        EXPECT_GT(wrong.size(), 40);
        std::string text;
        for (const auto& [name, value] : wrong) {
            if (!(std::abs(value) < 1e-9)) text += fmt::format("{}: {} too much\n", name, value);
        }
        return text;
    }
    std::string story_;

  private:
    Figures figures(const fs::path& home, ReaderCaches& caches) const {
        const Date now(static_cast<double>(now_) / 1000);
        const RuntimeLoadContext context{
            .now = now,
            .homeDirectory = home.parent_path(),
            .cacheDirectory = home / "cache",
            .statistics = StatisticsContext({StatisticsTimeZoneSelection::fixed, zone_}, now)};
        const bool isWalked = home == homes_[0];
        const auto read = CodexUsageReader::readLocalUsage(
            {.context = context, .userCodex = context.codex(), .persistCaches = isWalked}, caches);
        EXPECT_EQ(read.result.readStatus, LocalUsageReadStatus::complete);
        for (const LocalUsageGap& gap : read.result.local.value_or(LocalUsage()).gaps.list) {
            for (const Log& log : logs_) {
                const bool isTold = gap.kind != LocalUsageGapKind::goneLog || log.wasCut ||
                                    !log.isThere ||
                                    std::ranges::count(gap.paths, file(log).string()) == 0;
                EXPECT_TRUE(isTold) << log.path << " is not gone\n" << story_;
            }
        }
        Figures all;
        const LocalUsage local = read.result.local.value_or(LocalUsage());
        flatten(encode(local, RecordForm::stored), "", all);
        for (const LocalThread& thread : local.recentThreads) {
            all["thread " + thread.id] = static_cast<double>(thread.tokens);
        }
        return all;
    }

    fs::path file(const Log& log) const {
        return homes_[0] / (log.path.string() + (log.isPacked ? ".zst" : ""));
    }
    void save(const Log& log) const {
        std::ofstream(file(log), std::ios::binary)
            << (log.isPacked ? compressed(log.text).value() : log.text);
    }
    std::string id() { return corpus::makeUuid(now_, random_); }
    std::string project() { return std::string("/work/") + "abc"[random_.below(3)]; }
    void sql(const std::string& statement) {
        for (DatabaseWriter& each : databases_) EXPECT_TRUE(each.run(statement)) << statement;
    }
    /// Names a place where nothing is: the logs in their folders come first.
    void insertRow(Log& told) {
        told.hasRow = true;
        sql(fmt::format("INSERT INTO threads VALUES ('{}', '/gone/{}', {}, '{}', 'gpt-5.4');",
                        told.thread, told.path.filename().string(), now_ / 1000, project()));
    }
    template <class Change>
    void file(Log& log, Change change) {
        fs::remove(file(log));
        change();
        if (log.isThere) save(log);
    }

    void ask(Log& log) {
        file(log, [&] { log.isPacked = false; });
        Log& told = told_.at(log.thread);
        for (std::int64_t i = random_.between(1, 3); i > 0; --i) {
            Request request{.at = random_.between(since_ + 1, now_), .id = id()};
            const bool isAhead = random_.chance(0.06);
            if (isAhead) request.at = now_ + random_.between(1, 30 * corpus::hour);
            log.isAhead |= isAhead;
            TokenBreakdown& tokens = request.tokens;
            tokens.inputTokens = random_.between(1'000, 90'000);
            tokens.cachedInputTokens = random_.between(0, tokens.inputTokens);
            tokens.outputTokens = random_.between(10, 9'000);
            tokens.reasoningOutputTokens = random_.between(0, tokens.outputTokens);
            tokens.totalTokens = tokens.inputTokens + tokens.outputTokens;
            static constexpr std::string_view models[] = {"", R"(,"model":"gpt-5.4")",
                                                          R"(,"model":"gpt-5-codex")"};
            if (!log.isInTurn || random_.chance(0.4)) {
                request.turn = fmt::format(R"("turn_id":"{}"{})", id(), random_.pick(models));
            }
            for (const char tool : {'x', 'y', 'z'}) {
                if (random_.chance(0.2)) request.tools += tool;
            }
            request.addTo(log);
            request.addTo(told);
        }
        save(log);
        std::ofstream(homes_[1] / told.path, std::ios::binary) << told.text;
    }
    Log& enter(Log log) {
        log.path = day / fmt::format("rollout-{}-{}{}{}.jsonl", corpus::fileTimeText(now_),
                                     log.thread, log.segment.empty() ? "" : "_", log.segment);
        story_ += "  makes " + log.path.filename().string() +
                  (log.hasRecords ? "\n" : " without records\n");
        return logs_.emplace_back(std::move(log));
    }
    /// A thread that goes on from `log`, and says so in its header.
    Log& enterThread(Log log, const std::string& more = "") {
        log.thread = id();
        log.cwd = project();
        Log told{.thread = log.thread, .cwd = log.cwd, .hasRecords = log.hasRecords};
        log.header(now_, more);
        told.header(now_);
        Log& entered = enter(std::move(log));
        told.path = entered.path;
        Log& kept = told_.emplace(told.thread, std::move(told)).first->second;
        if (random_.chance(0.8)) insertRow(kept);
        return entered;
    }
    void begin(Log&) { ask(enterThread({.thread = "", .hasRecords = random_.chance(0.6)})); }
    /// A crash cuts a log, and Codex goes on from there, now or later. Left alone are logs whose
    /// two versions are not told apart: of copies that part only the longer counts, an event ahead
    /// of its time hides what versions share, and a copied call is taken off twice.
    void cut(Log& log) {
        const Mark mark = random_.pick(log.marks);
        if (log.isPacked || log.isAhead || log.copiesHistory || log.hasCopy) return;
        if (mark.size < log.keptBytes) return;
        const std::string torn = log.text.substr(mark.size, 100);
        log.text.resize(mark.size);
        if (random_.chance(0.3)) log.text += torn + "\n";
        log.total = mark.total;
        log.ordinal = mark.ordinal;
        std::erase_if(log.marks, [&](const Mark& each) { return each.size > mark.size; });
        log.isInTurn = false;
        log.wasCut = true;
        save(log);
        if (random_.chance(0.5)) ask(log);
    }
    /// A log that goes on from this one, and its header's words for that.
    std::pair<Log, std::string> leave(Log& log) {
        std::vector<Mark> whole = log.marks;
        std::erase_if(whole, [](const Mark& mark) { return !mark.isWhole; });
        const Mark mark = random_.pick(whole);
        log.keptBytes = std::max(log.keptBytes, mark.size);
        Log next{.thread = log.thread,
                 .cwd = log.cwd,
                 .hasRecords = log.hasRecords,
                 .total = mark.total,
                 .ordinal = mark.ordinal,
                 .inherits = true};
        return {next,
                fmt::format(R"(,"history_base":{{"thread_id":"{}","end_ordinal_exclusive":{}}})",
                            log.segment.empty() ? log.thread : log.segment, mark.ordinal)};
    }
    void revert(Log& log) {
        auto [next, base] = leave(log);
        log.isCurrent = false;
        next.segment = id();
        next.header(now_, base);
        ask(enter(std::move(next)));
    }
    void fork(Log& log) {
        auto [next, base] = leave(log);
        ask(enterThread(std::move(next), base));
    }
    /// As Codex once did: the parent's lines, at the time of the copy.
    void copyingFork(Log& log) {
        if (log.isAhead || log.inherits) return;
        log.keptBytes = log.text.size();
        Log& next = enterThread({.thread = "", .hasRecords = log.hasRecords},
                                R"(,"forked_from_id":")" + log.thread + "\"");
        std::istringstream lines(log.text);
        for (std::string line; std::getline(lines, line);) {
            if (line.size() > 100) line.replace(14, 24, corpus::timestampText(now_));
            next.text += line + "\n";
        }
        next.copiesHistory = true;
        next.total = log.total;
        next.ordinal = log.ordinal;
        next.marks.clear();
        next.mark();
        since_ = now_ + 1'000;
        now_ += 3'000;
        ask(next);
    }
    void vanish(Log& log) {
        file(log, [&] { log.isThere = !log.isThere; });
    }
    void pack(Log& log) {
        file(log, [&] { log.isPacked = !log.isPacked; });
    }
    void move(Log& log) {
        const fs::path to = log.path.parent_path() == day ? "archived_sessions" : day;
        file(log, [&] { log.path = to / log.path.filename(); });
    }
    void copy(Log& log) {
        if (log.isPacked || log.copiesHistory) return;
        const fs::path copy = homes_[0] / "sessions/2026/03/25" / log.path.filename();
        log.hasCopy = !log.hasCopy;
        if (!log.hasCopy) fs::remove(copy);
        if (log.hasCopy) fs::copy_file(file(log), copy);
    }
    void changeRow(Log& log) {
        Log& told = told_.at(log.thread);
        if (!told.hasRow) return insertRow(told);
        told.hasRow = random_.chance(0.7);
        const std::string cwd = project();
        sql((told.hasRow ? "UPDATE threads SET model = 'gpt-5.4-mini', cwd = '" + cwd + "'"
                         : "DELETE FROM threads") +
            " WHERE id = '" + log.thread + "';");
    }
    void changeZone(Log&) {
        static constexpr std::string_view zones[] = {"UTC", "America/New_York", "Asia/Kathmandu"};
        zone_ = random_.pick(zones);
    }
    void restart(Log&) { caches_ = std::make_unique<ReaderCaches>(); }
    void sleep(Log&) { now_ += random_.between(1, 40) * corpus::hour; }

    const TemporaryDirectory directory_{"vantry-walk-"};
    const fs::path homes_[2] = {directory_.path() / "walked/.codex",
                                directory_.path() / "told/.codex"};
    corpus::Random random_{static_cast<std::uint64_t>(GetParam())};
    std::list<DatabaseWriter> databases_;
    std::list<Log> logs_;
    std::map<std::string, Log> told_;  ///< by thread, all that it ever asked for
    std::unique_ptr<ReaderCaches> caches_ = std::make_unique<ReaderCaches>();
    std::string zone_ = "UTC";
    Millis since_ = 1'774'340'000'000;  ///< of the step before; zones change their clocks soon
    Millis now_ = since_ + corpus::hour;
};

TEST_P(Walk, KeepsEveryFigure) {
    for (int i = 0; i < 60; ++i) {
        const std::string wrong = differences();
        ASSERT_EQ(wrong, "") << "seed " << GetParam() << "\n" << story_;
        step();
    }
}
INSTANTIATE_TEST_SUITE_P(Seeds, Walk, testing::Range(1, 7));

}  // namespace

}  // namespace vantry
