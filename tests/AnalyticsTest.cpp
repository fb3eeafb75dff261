#include <fstream>
#include <functional>
#include <future>

#include "corpus/Corpus.h"
#include "platform/Iso8601.h"
#include "platform/JsonReader.h"
#include "support/Program.h"

using namespace vantry;
namespace fs = std::filesystem;

namespace {

std::string joined(std::initializer_list<std::string_view> parts) {
    std::string text;
    for (const std::string_view part : parts) text += part;
    return text;
}

/// Figures by the path at which the dump has them below "local", in which a list's element has its
/// id for a name.
using Figures = std::map<std::string, std::int64_t>;

/// What is too much in `found`, and, negative, what is missing.
Figures differences(Figures found, const Figures& expected) {
    for (const auto& [name, number] : expected) found[name] -= number;
    std::erase_if(found, [](const auto& figure) { return figure.second == 0; });
    return found;
}

void gather(JsonView value, const std::string& path, Figures& figures) {
    if (const auto number = value.integer()) figures[path] += *number;
    value.forEachMember([&](std::string_view key, JsonView member) {
        if (key != "estimatedCostUSD") gather(member, path + "/" + std::string(key), figures);
        return true;
    });
    value.forEachElement([&](JsonView element) {
        std::string id = ownedText(element["id"]).value_or("");
        if (const auto day = element["dayStart"].text()) {
            id = std::string(day->substr(0, 10)) + ownedText(element["modelID"]).value_or("?");
        }
        gather(element, path + "/" + id, figures);
        return true;
    });
}

Figures figuresOf(const std::string& dump) {
    const auto document = JsonDocument::parse(dump);
    const JsonView local = document->root()["compat"]["codex"]["local"];
    Figures figures;
    for (const char* window : {"today", "sevenDay", "month", "lifetime"}) {
        gather(local["detailedUsage"][window]["tokens"], window, figures);
    }
    for (const char* list : {"dailyBuckets", "toolUsages", "skillUsages", "modelUsage",
                             "projectBoard", "recentThreads"}) {
        gather(local[list], list, figures);
    }
    return figures;
}

/// What a read at that time must find, with days of UTC.
Figures expectedFigures(const corpus::Truth& truth, Date now) {
    Figures figures;
    const auto today = static_cast<corpus::Millis>(now.secondsSince1970()) * corpus::second;
    const std::string board = "projectBoard/";
    std::set<std::pair<std::string, std::string>> counted;
    const auto addThread = [&](const std::string& name, const corpus::TruthThread& thread) {
        if (counted.emplace(name, thread.id).second) ++figures[name];
    };
    for (const corpus::TruthEvent& event : truth.events) {
        const corpus::TruthThread& thread = truth.threads[event.thread];
        const std::int64_t tokens = event.tokens.totalTokens;
        const std::string day = corpus::dayText(event.at);
        const auto age = today / corpus::day - event.at / corpus::day;
        const auto addWindow = [&](const std::string& window, const std::string& list) {
            figures[window + "/inputTokens"] += event.tokens.inputTokens;
            figures[window + "/cachedInputTokens"] += event.tokens.cachedInputTokens;
            figures[window + "/outputTokens"] += event.tokens.outputTokens;
            figures[window + "/reasoningOutputTokens"] += event.tokens.reasoningOutputTokens;
            figures[window + "/totalTokens"] += tokens;
            if (list.empty()) return;
            figures[board + list + "/" + thread.project + "/tokens"] += tokens;
            addThread(board + list + "/" + thread.project + "/threadCount", thread);
        };
        addWindow("lifetime", "allProjects");
        if (day.substr(0, 7) == corpus::dayText(today).substr(0, 7)) addWindow("month", "");
        if (age < 7) addWindow("sevenDay", "recentProjects");
        if (age < 1) addWindow("today", "todayProjects");
        if (age <= 190) figures["dailyBuckets/" + day + "/tokens"] += tokens;
        auto model = thread.indexModel;
        if (event.model) model = truth.models[*event.model];
        if (age < 180)
            figures[joined({"modelUsage/buckets/", day, model.value_or("?"), "/tokens"})] += tokens;
        figures[joined({board, "localDailyByProject/", thread.project, "/", day})] += tokens;
        const std::string detail = joined({board, "detailsByProjectID/", thread.project, "/"});
        if (age < 30) figures[joined({detail, "dailyBuckets/", day, "/tokens"})] += tokens;
        for (const auto& [window, days] :
             {std::pair("today", 1), {"sevenDay", 7}, {"thirtyDay", 30}}) {
            if (age >= days) continue;
            addThread(detail + window + "ThreadCount", thread);
            figures[detail + "conversations/" + thread.root + "/" + window + "Tokens"] += tokens;
        }
    }
    const auto addUse = [&](const std::string& dimension, const corpus::TruthThread& thread,
                            std::int64_t count) {
        const std::string row = board + "dimensionBreakdown/" + dimension + "/" + thread.project;
        figures[row + "/eventCount"] += count;
        ++figures[row + "/threadCount"];
    };
    for (const corpus::TruthThread& thread : truth.threads) {
        const std::string detail = joined({board, "detailsByProjectID/", thread.project, "/"});
        for (const auto& [tool, calls] : thread.toolCalls) {
            figures["toolUsages/" + tool + "/callCount"] += calls;
            figures[joined({detail, "toolUsages/", tool, "/callCount"})] += calls;
            addUse("projectsByToolID/" + tool, thread, calls);
        }
        for (const auto& [path, loads] : thread.skillLoads) {
            addUse("projectsBySkillID/" + path, thread, loads);
        }
        figures["recentThreads/" + thread.id + "/tokens"] = thread.tokens.totalTokens;
    }
    for (const auto& [path, skill] : truth.skills) {
        const std::string row = "skillUsages/" + path;
        figures[row + "/loadCount"] = skill.loads;
        figures[row + "/threadCount"] = skill.threads;
        figures[row + "/staticByteCount"] = skill.bytes.value_or(0);
        figures[row + "/staticTokenEstimate"] = skill.tokenEstimate.value_or(0);
    }
    return figures;
}

const std::string forgetKept = "DELETE FROM value WHERE CAST(key AS TEXT) LIKE 'analytics%';";
const std::string oldInstead = "，显示上次完整统计（数据可能暂时陈旧）";
const std::string noDays = "，今日、近 7 天与日趋势暂不可用";
const std::string unreadable = "1 个 Codex session 日志暂时无法读取";

}  // namespace

class Analytics : public ProgramTest {
  protected:
    const fs::path home = root() / "home";
    const fs::path database = home / ".codex/state_5.sqlite";
    const fs::path cache = root() / "cache";
    const fs::path store = cache / "session-usage.sqlite";
    const Variables user{{"HOME", home}, {"TZ", "UTC"}};
    corpus::Truth truth;

    /// A home whose last event is a minute old at most.
    void make(corpus::CorpusOptions options) {
        fs::remove_all(home);
        fs::remove_all(cache);
        options.home = home;
        options.end = (static_cast<corpus::Millis>(Date::now().secondsSince1970()) - 1) * 1'000;
        truth = corpus::makeCorpus(options);
    }
    std::string read() const { return dump(user); }

    /// Adds a log that says what cannot be, written just now; where it lies.
    fs::path spoilHome() const {
        fs::path bad = home / ".codex/sessions/rollout-bad.jsonl";
        std::ofstream(bad) << R"({"type":"turn_context","payload":7})"
                           << "\n";
        return bad;
    }
    void sql(const std::string& statements) const {
        EXPECT_TRUE(DatabaseWriter(database).run(statements)) << statements;
    }
    void storeSql(const std::string& statements) const {
        EXPECT_TRUE(
            DatabaseWriter(store).run(statements + "UPDATE state SET generation = generation + 1;"))
            << statements;
    }

    void expectState(const std::string& whole, const char* status,
                     const std::vector<std::string>& messages) const {
        const std::string codex = "compat.codex.";
        std::map<std::string, std::string> facts{
            {codex + "localUsageReadStatus", status},
            {codex + "localUsageIsStale",
             status == std::string("staleFallback") ? "true" : "false"},
            {codex + "localReadMessages", "size " + std::to_string(messages.size())},
            {"aggregate.localUsageReadStatus", status}};
        for (std::size_t i = 0; i < messages.size(); ++i) {  // below the one about the codex
            facts[codex + "localReadMessages." + std::to_string(i)] = messages[i];
            facts[codex + "messages." + std::to_string(i + 1)] = messages[i];
        }
        expectFacts(whole, facts);
    }
    /// A complete read that finds the truth and has nothing to say of it.
    void expectTruth(const std::string& whole) const {
        expectState(whole, "complete", {});
        const auto document = JsonDocument::parse(whole);
        const auto now = iso8601Date(document->root()["refreshedAt"].text().value_or(""));
        ASSERT_TRUE(now);
        const Figures found = figuresOf(whole);
        Figures expected = expectedFigures(truth, *now);
        std::erase_if(expected, [&](const auto& figure) {  // only some threads are recent
            return figure.first.starts_with("recentThreads/") && !found.contains(figure.first);
        });
        EXPECT_EQ(differences(found, expected), Figures());
    }
    void expectUnavailable(const std::string& whole, const std::string& message) const {
        expectState(whole, "unavailable",
                    {message, "本机项目明细暂不可用，已暂停显示可能重复的线程累计值"});
        EXPECT_EQ(figuresOf(whole), Figures());
    }
};

TEST_F(Analytics, EveryFigureIsTheTruth) {
    Variables profiled = user;
    profiled["VANTRY_PROFILE_READER"] = "1";
    using Case = std::pair<std::uint64_t, std::int64_t>;
    // Days of today and the week alone, of the thirty days, and from before the trend begins.
    for (const auto& [seed, days] :
         {Case{1, 2}, Case{2, 2}, Case{3, 25}, Case{4, 25}, Case{5, 400}}) {
        SCOPED_TRACE(seed);
        make({.seed = seed,
              .conversations = 60,
              .totalBytes = 600'000,
              .spanDays = days,
              .mix = {.skillCalls = 0.3}});
        EXPECT_GT(truth.skills.size(), 5U);
        EXPECT_NE(truth.total, truth.sumOfLastReadings) << "the home has nothing to tell apart";
        expectTruth(read());
        const ProgramRun again = run({"--dump-json"}, profiled);
        EXPECT_NE(again.error.find(" disk-cache-reuse "), std::string::npos) << again.error;
        expectTruth(again.output);
        storeSql("DELETE FROM value;");  // what is left are the logs' own shares
        expectTruth(read());
        storeSql("DELETE FROM share; DELETE FROM value;");  // their events
        expectTruth(read());
    }
}

TEST_F(Analytics, ALogThatMayBeInTheMakingHoldsTheFiguresBack) {
    make({.conversations = 20, .totalBytes = 100'000, .spanDays = 9});
    const std::string good = read();
    expectTruth(good);
    std::this_thread::sleep_for(std::chrono::seconds(1));  // so that its capture is told apart
    const fs::path bad = spoilHome();
    const std::string stale = read();
    expectState(stale, "staleFallback", {unreadable + oldInstead});
    const auto capture = [](const std::string& whole) {
        return whole.substr(whole.find("\"localUsageCapturedAt\""), 48);
    };
    EXPECT_EQ(capture(stale), capture(good));
    EXPECT_EQ(differences(figuresOf(stale), figuresOf(good)), Figures());
    fs::remove_all(cache);
    expectUnavailable(read(), unreadable + noDays);
    // An hour later it is what it is, or an hour ahead of the clock.
    for (const auto hours : {-1, 1}) {
        fs::last_write_time(bad, fs::file_time_type::clock::now() + std::chrono::hours(hours));
        const std::string whole = read();
        expectTruth(whole);
        expectFacts(whole, {{"compat.codex.local.gaps.0.kind", "damagedLog"},
                            {"compat.codex.local.gaps.0.count", "1"},
                            {"compat.codex.local.gaps.0.paths.0", bad.string()}});
    }
    expectFacts(run({"--dump-probe-summary"}, user).output, {{"runtimes.0.localGapCount", "1"}});
}

TEST_F(Analytics, ACircleOfParentsIsNamed) {
    make({.conversations = 10, .totalBytes = 200'000, .bad = {corpus::BadSession::parentCycle}});
    expectFacts(read(), {{"compat.codex.localUsageReadStatus", "complete"},
                         {"compat.codex.local.gaps", "size 1"},
                         {"compat.codex.local.gaps.0.kind", "parentCycle"},
                         {"compat.codex.local.gaps.0.count", "2"}});
}

TEST_F(Analytics, ADamagedDatabaseGivesNoFigures) {
    make({.conversations = 10, .totalBytes = 100'000, .spanDays = 9});
    const fs::path sound = root() / "sound.sqlite";
    fs::copy_file(database, sound);
    const std::pair<std::function<void()>, std::string> cases[] = {
        {[&] { fs::resize_file(database, 5'000); }, "SQLite 查询失败"},
        {[&] { sql("UPDATE threads SET updated_at = -1 WHERE rowid = 3;"); },
         "SQLite 数据格式异常，未采用该批数据"},
    };
    for (const auto& [inflict, message] : cases) {
        SCOPED_TRACE(message);
        inflict();
        expectUnavailable(read(), message);
        fs::remove_all(cache);
        expectUnavailable(read(), message);
        for (const char* beside : {"-wal", "-shm"}) fs::remove(database.string() + beside);
        fs::copy_file(sound, database, fs::copy_options::overwrite_existing);
        expectTruth(read());  // the next case has this cache
    }
}

TEST_F(Analytics, AWriterHoldsTheDatabase) {
    make({.conversations = 10, .totalBytes = 100'000, .spanDays = 9});
    expectTruth(read());
    for (const std::string journal : {"WAL", "DELETE"}) {
        SCOPED_TRACE(journal);
        sql("PRAGMA journal_mode=" + journal + "; UPDATE threads SET cwd = cwd || '/former';");
        {
            DatabaseWriter writer(database);
            ASSERT_TRUE(
                writer.run("PRAGMA wal_autocheckpoint=0; UPDATE threads SET cwd = replace(cwd, "
                           "'/former', ''); BEGIN EXCLUSIVE; UPDATE threads SET cwd = '/none';"));
            Variables withoutCache = user;
            withoutCache["VANTRY_CACHE_OVERRIDE"] = root() / ("no cache " + journal);
            auto other = std::async(std::launch::async, [&] { return dump(withoutCache); });
            for (const std::string& whole : {read(), other.get()}) {
                // Without a write-ahead log it is waited for, and then the query has failed.
                journal == "WAL" ? expectTruth(whole) : expectUnavailable(whole, "SQLite 查询失败");
            }
        }
        expectTruth(read());
    }
}

TEST_F(Analytics, WhatIsKeptAndDamagedIsNotShown) {
    make({.conversations = 20, .totalBytes = 100'000, .spanDays = 9});
    expectTruth(read());
    for (const std::string& spoil :
         {forgetKept, std::string("UPDATE value SET bytes = x'00';"),
          std::string("UPDATE share SET bytes = zeroblob(length(bytes)); DELETE FROM value;"),
          std::string("UPDATE log SET head = x'01'; DELETE FROM value;"),
          std::string("UPDATE events SET bytes = x''; DELETE FROM share; DELETE FROM value;")}) {
        SCOPED_TRACE(spoil);
        storeSql(spoil);
        fs::path bad = spoilHome();
        expectUnavailable(read(), unreadable + noDays);
        fs::remove(bad);
        expectTruth(read());
        bad = spoilHome();
        expectState(read(), "staleFallback", {unreadable + oldInstead});  // kept anew
        fs::remove(bad);
    }
}

TEST_F(Analytics, TheProbeSummaryNamesNothing) {
    make({.seed = 8, .conversations = 60, .totalBytes = 600'000, .spanDays = 9});
    installCodex(codexScript("usage() { failure 4; }"));
    sql("UPDATE threads SET updated_at = strftime('%s'), archived = 0;");  // all on the board
    const std::string whole = read();
    expectTruth(whole);
    const std::string summary = run({"--dump-probe-summary"}, user).output;
    expectFacts(summary, {{"runtimes.0.status", "available"},
                          {"runtimes.0.projectCount", std::to_string(truth.projects.size())}});

    std::set<std::string> secrets;
    const std::function<void(JsonView)> collect = [&](JsonView value) {
        if (const auto text = ownedText(value)) secrets.insert(*text);
        value.forEachElement([&](JsonView element) { return collect(element), true; });
        value.forEachMember(
            [&](std::string_view, JsonView member) { return collect(member), true; });
    };
    collect(JsonDocument::parse(whole)->root());
    EXPECT_TRUE(secrets.contains("app-server 4: sign in first"));
    for (const corpus::TruthThread& thread : truth.threads) {
        secrets.insert({thread.id, thread.rolloutPath, thread.project});
    }
    EXPECT_GT(secrets.size(), 150U);
    // The summary's own words, and times.
    for (const char* word : {"available", "codex", "local", "tool", "x", ""}) secrets.erase(word);
    for (const std::string& secret : secrets) {
        if (iso8601Date(secret) || iso8601Date(secret + "T00:00:00Z")) continue;
        EXPECT_EQ(summary.find(secret), std::string::npos) << secret;
    }
}
