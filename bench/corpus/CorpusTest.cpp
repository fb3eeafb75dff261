#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <set>
#include <sstream>

#include "corpus/Corpus.h"
#include "platform/JsonReader.h"

namespace fs = std::filesystem;

namespace vantry::corpus {

namespace {

std::string contents(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

class CorpusTest : public testing::Test {
  protected:
    CorpusTest() {
        std::string name = (fs::temp_directory_path() / "vantry-corpus-test-XXXXXX").string();
        if (::mkdtemp(name.data()) != nullptr) folder_ = name;
    }
    ~CorpusTest() override { fs::remove_all(folder_); }

    /// A small home below the test's folder.
    CorpusOptions options(std::string_view name) const {
        return {.home = folder_ / name, .conversations = 30, .totalBytes = 1024 * 1024};
    }

    fs::path folder_;
};

TEST_F(CorpusTest, TheSeedDecidesEverything) {
    CorpusOptions first = options("a");
    const Truth one = makeCorpus(first);
    std::vector<std::string> bytes;
    for (const TruthThread& thread : one.threads) bytes.push_back(contents(thread.rolloutPath));
    const std::string truth = contents(first.home / "truth.json");
    fs::remove_all(first.home);
    const Truth again = makeCorpus(first);
    ASSERT_EQ(one.threads.size(), again.threads.size());
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        EXPECT_EQ(contents(again.threads[i].rolloutPath), bytes[i]) << one.threads[i].variant;
    }
    EXPECT_EQ(contents(first.home / "truth.json"), truth);
    first.home = folder_ / "b";
    first.seed = 2;
    EXPECT_NE(makeCorpus(first).total, one.total);
}

TEST_F(CorpusTest, ManyConversationsHaveEveryVariant) {
    CorpusOptions many = options("many");
    many.conversations = 400;
    many.totalBytes = 0;
    many.lean = true;
    std::set<std::string> variants;
    for (const TruthThread& thread : makeCorpus(many).threads) variants.insert(thread.variant);
    // Those of the forks, two kinds of subagent, the guardian and the root.
    EXPECT_EQ(variants.size(), 10U + 17U + 2U + 1U + 1U) << testing::PrintToString(variants);
}

TEST_F(CorpusTest, SizesAreAboutWhatWasAskedFor) {
    CorpusOptions large = options("large");
    large.totalBytes = 40 * 1024 * 1024;
    large.tokenEvents = 600;
    const Truth truth = makeCorpus(large);
    EXPECT_EQ(truth.threads.size(), 30U);
    EXPECT_NEAR(static_cast<double>(truth.logBytes), 40 * 1024 * 1024, 1024 * 1024);
    EXPECT_NEAR(static_cast<double>(truth.events.size()), 600, 150);

    CorpusOptions single = options("single");
    single.conversations = 1;
    single.totalBytes = 20 * 1024 * 1024;
    const Truth one = makeCorpus(single);
    ASSERT_EQ(one.threads.size(), 1U);
    EXPECT_EQ(fs::file_size(one.threads.front().rolloutPath),
              static_cast<std::uintmax_t>(one.logBytes));
    EXPECT_NEAR(static_cast<double>(one.logBytes), 20 * 1024 * 1024, 400 * 1024);

    CorpusOptions sparse = options("sparse");
    sparse.sparseBytes = 60 * 1024 * 1024;
    sparse.keepsEvents = false;
    const Truth holes = makeCorpus(sparse);
    const Truth solid = makeCorpus(options("solid"));
    EXPECT_EQ(holes.total, solid.total);
    EXPECT_EQ(holes.eventCount, static_cast<std::int64_t>(solid.events.size()));
    EXPECT_NEAR(static_cast<double>(holes.logBytes - solid.logBytes), 60 * 1024 * 1024, 64 * 1024);
}

TEST_F(CorpusTest, SumsAgreeAndNoEventLiesOutsideTheSpan) {
    const CorpusOptions asked = options("home");
    const Truth truth = makeCorpus(asked);
    TokenBreakdown ofThreads;
    TokenBreakdown ofDays;
    TokenBreakdown ofConversations;
    for (const TruthThread& thread : truth.threads) ofThreads.add(thread.tokens);
    for (const auto& [root, tokens] : truth.conversations) ofConversations.add(tokens);
    for (const auto& [name, tokens] : truth.days) ofDays.add(tokens);
    EXPECT_EQ(ofThreads, truth.total);
    EXPECT_EQ(ofDays, truth.total);
    EXPECT_EQ(ofConversations, truth.total);
    EXPECT_EQ(truth.total.splitTotalTokens(), truth.total.totalTokens);
    EXPECT_NE(truth.sumOfLastReadings, truth.total);
    for (const TruthEvent& event : truth.events) {
        EXPECT_LE(event.at, asked.end);
        EXPECT_GE(event.at, asked.end - asked.spanDays * day);
    }
}

/// What a fork's header says of its history must be true of the file: the byte begins the line of
/// that number.
TEST_F(CorpusTest, HistoryBasesPointAtLines) {
    CorpusOptions forks = options("forks");
    forks.conversations = 120;
    forks.mix = {.copyingForks = 0, .inheritingForks = 0.6, .subagents = 0.2};
    forks.sparseBytes = 120 * 1024 * 1024;
    const Truth truth = makeCorpus(forks);
    std::map<std::string, std::string> logs;
    for (const TruthThread& thread : truth.threads) logs[thread.id] = contents(thread.rolloutPath);

    int checked = 0;
    for (const auto& [id, log] : logs) {
        const auto header = JsonDocument::parse(log.substr(0, log.find('\n')));
        ASSERT_TRUE(header);
        EXPECT_EQ(header->root()["payload"]["id"].text(), id);
        const JsonView base = header->root()["payload"]["history_base"];
        if (!base.isObject()) continue;
        const std::string& history = logs.at(std::string(*base["thread_id"].text()));
        const auto offset = static_cast<std::size_t>(*base["end_byte_offset"].integer());
        ASSERT_LE(offset, history.size());
        const std::string rest = history.substr(offset, history.find('\n', offset) - offset);
        const auto line = JsonDocument::parse(rest);
        if (!line) continue;  // the fork was made at the very end
        EXPECT_EQ(line->root()["ordinal"].integer(), base["end_ordinal_exclusive"].integer());
        ++checked;
    }
    EXPECT_GT(checked, 10);
}

/// Every Skill is loaded, and copied loads and calls that only look like one are in the logs but
/// not in the truth.
TEST_F(CorpusTest, SkillsCountOncePerCall) {
    CorpusOptions asked = options("skills");
    asked.conversations = 150;
    asked.mix = {.copyingForks = 0.4, .skillCalls = 0.5};
    const Truth truth = makeCorpus(asked);
    EXPECT_EQ(truth.skills.size(), 8U);
    std::map<std::string, std::int64_t> loads;
    std::map<std::string, int> logsByCall;
    bool hasDecoys = false;
    for (const TruthThread& thread : truth.threads) {
        for (const auto& [path, count] : thread.skillLoads) loads[path] += count;
        std::istringstream log(contents(thread.rolloutPath));
        for (std::string line; std::getline(log, line);) {
            const auto parsed = JsonDocument::parse(line);
            const JsonView call = parsed ? parsed->root()["payload"] : JsonView();
            const auto type = call["type"].text();
            if (type != "function_call" && type != "custom_tool_call") continue;
            hasDecoys |= line.find("/decoy/") != std::string::npos;
            if (line.find("SKILL") == std::string::npos) continue;
            if (const auto id = ownedText(call["call_id"])) ++logsByCall[*id];
        }
    }
    EXPECT_TRUE(hasDecoys);
    EXPECT_TRUE(std::any_of(logsByCall.begin(), logsByCall.end(),
                            [](const auto& call) { return call.second > 1; }));
    for (const auto& [path, skill] : truth.skills) {
        EXPECT_EQ(loads[path], skill.loads) << path;
        const fs::path file = path.starts_with('~') ? asked.home / path.substr(2) : fs::path(path);
        if (fs::exists(file)) {
            EXPECT_EQ(static_cast<std::int64_t>(fs::file_size(file)), skill.bytes) << path;
        }
    }
}

TEST_F(CorpusTest, BadSessionsAreLeftOutOfTheTruth) {
    const Truth good = makeCorpus(options("good"));
    CorpusOptions asked = options("bad");
    asked.bad = {BadSession::unverifiableFork, BadSession::missingParent, BadSession::parentCycle,
                 BadSession::damagedLine};
    const Truth bad = makeCorpus(asked);
    EXPECT_EQ(std::count_if(bad.threads.begin(), bad.threads.end(),
                            [](const TruthThread& thread) { return thread.bad; }),
              5);
    for (const TruthThread& thread : bad.threads) {
        EXPECT_TRUE(!thread.bad || thread.tokens.isZero()) << thread.variant;
    }
    EXPECT_GT(bad.total.totalTokens, good.total.totalTokens);  // the parents are sound
}

TEST_F(CorpusTest, AHomeIsNotMadeTwice) {
    makeCorpus(options("home"));
    EXPECT_THROW(makeCorpus(options("home")), std::runtime_error);
}

}  // namespace

}  // namespace vantry::corpus
