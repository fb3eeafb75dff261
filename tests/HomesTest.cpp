// What homes of months go through: turns taken back, logs deleted, moved, packed, cut and copied.

#include <fmt/format.h>
#include <fstream>

#include "platform/Compression.h"
#include "platform/JsonReader.h"
#include "support/Program.h"

using namespace vantry;
namespace fs = std::filesystem;

namespace {

/// Ids sort by the time at which they were given, as those of Codex do.
std::string idOf(char letter) {
    return std::string("01a20600-000") + letter + "-7000-8000-000000000000";
}

std::string usage(int tokens) {
    constexpr auto text =
        R"({{"input_tokens":{0},"cached_input_tokens":0,"output_tokens":0,"total_tokens":{0}}})";
    return fmt::format(text, tokens);
}

/// The lines of one log. Requests are numbered by what they cost.
struct Log {
    std::string text;
    int total = 0;  ///< of the counter
    int ordinal = 0;
    std::string thread;
    bool hasRecords = true;

    void line(const std::string& rest) {
        text += fmt::format(R"({{"timestamp":"2026-11-20T10:{}:{}.000Z","ordinal":{},{}}})",
                            10 + ordinal / 50, 10 + ordinal % 50, ordinal, rest);
        text += "\n";
        ++ordinal;
    }
    void answer(int tokens) {
        constexpr auto record =
            R"("type":"token_usage_record","payload":{{"thread_id":"{0}","turn_id":"t",)"
            R"("response_id":"r{1}","usage":{2},"turn_token_usage":{2}}})";
        constexpr auto reading = R"("type":"event_msg","payload":{{"type":"token_count","info":)"
                                 R"({{"total_token_usage":{},"last_token_usage":{}}}}})";
        if (hasRecords) line(fmt::format(record, thread, tokens, usage(tokens)));
        total += tokens;
        line(fmt::format(reading, usage(total), usage(tokens)));
    }
};

Log newLog(const std::string& thread, bool hasRecords, const std::string& more = "") {
    Log log{.thread = thread, .hasRecords = hasRecords};
    log.line(R"("type":"session_meta","payload":{"id":")" + thread + R"(","cwd":"/work")" + more +
             "}");
    return log;
}

}  // namespace

class Homes : public ProgramTest {
  protected:
    fs::path home = root() / "home";
    const fs::path cache = root() / "cache";
    const fs::path day = "sessions/2026/11/20";

    const char* const newIndex =
        "CREATE TABLE threads (id TEXT, rollout_path TEXT, updated_at INTEGER);";

    Homes() { sql(newIndex); }

    void sql(const std::string& statements) {
        fs::create_directories(home / ".codex");
        EXPECT_TRUE(DatabaseWriter(home / ".codex/state_5.sqlite").run(statements)) << statements;
    }
    /// An hour old, so that nobody waits for its writer.
    fs::path put(const fs::path& below, const std::string& text) const {
        fs::path path = home / ".codex" / below;
        fs::create_directories(path.parent_path());
        std::ofstream(path, std::ios::binary) << text;
        fs::last_write_time(path, fs::file_time_type::clock::now() - std::chrono::hours(1));
        return path;
    }
    fs::path put(const Log& log) {
        fs::path path =
            put(day / ("rollout-2026-11-20T10-00-00-" + log.thread + ".jsonl"), log.text);
        sql("DELETE FROM threads WHERE id = '" + log.thread + "'; INSERT INTO threads VALUES ('" +
            log.thread + "', '" + path.string() + "', 1795000000);");
        return path;
    }
    Variables variables(const fs::path& caches) const {
        return {{"VANTRY_HOME_OVERRIDE", home}, {"VANTRY_CACHE_OVERRIDE", caches}, {"TZ", "UTC"}};
    }
    /// The tokens and then the gaps of a read: "120 missingLog:3".
    std::string found(bool isCold = false) const {
        const std::string fresh = "cold" + std::to_string(++reads_);
        const std::string whole = dump(variables(isCold ? root() / fresh : cache));
        const auto document = JsonDocument::parse(whole);
        const JsonView codex = document->root()["compat"]["codex"];
        const JsonView local = codex["local"];
        std::string text =
            codex["localUsageReadStatus"].text() == "complete" ? "" : "not complete ";
        text += std::to_string(local["lifetimeTokens"].integer().value_or(-1));
        local["gaps"].forEachElement([&](JsonView gap) {
            text.append(" ").append(*gap["kind"].text()).append(":");
            text += std::to_string(*gap["count"].integer());
            return true;
        });
        return text;
    }

  private:
    mutable int reads_ = 0;
};

TEST_F(Homes, WhatWasCountedKeepsCounting) {
    Log a = newLog(idOf('a'), false);
    for (const int tokens : {1, 10, 100}) a.answer(tokens);
    Log b = newLog(idOf('b'), true);
    b.answer(1'000);
    const fs::path path = put(a);
    const fs::path other = put(b);
    EXPECT_EQ(found(), "1111");
    const std::string packedName = path.filename().string() + ".zst";
    const std::string bytes = *compressed(a.text + std::string(999, '\n'));
    put(day / packedName, bytes.substr(0, 50));
    EXPECT_EQ(found(), "1111");  // while it is being packed
    const fs::path packed = put(day / packedName, bytes);
    EXPECT_EQ(found(), "1111");  // both lie there
    fs::remove(path);
    EXPECT_EQ(found(), "1111");
    EXPECT_EQ(found(true), "1111");
    fs::remove(packed);
    fs::remove(other);
    EXPECT_EQ(found(), "1111 goneLog:2");
    EXPECT_EQ(found(true), "-1 missingLog:2");
    fs::rename(home, root() / "renamed");
    home = root() / "renamed";
    EXPECT_EQ(found(), "1111 goneLog:2");
    // What comes back shorter, and goes on otherwise, adds what is new.
    Log shorter = a;
    shorter.text.resize(a.text.rfind(R"({"timestamp")"));
    shorter.total = 11;
    put(shorter);
    EXPECT_EQ(found(), "1111 goneLog:2");
    ++shorter.ordinal;
    shorter.answer(10'000);
    put(shorter);
    EXPECT_EQ(found(), "11111 goneLog:2");
    put(b);
    EXPECT_EQ(found(), "11111 goneLog:1");
    EXPECT_EQ(run({"forget-gone"}, variables(cache)).output, "Forgot 1 log that is gone\n");
    EXPECT_EQ(found(), "11011");
    // Another home with the same cache shares nothing.
    const fs::path first = std::exchange(home, root() / "other home");
    sql(newIndex);
    Log f = newLog(idOf('f'), true);
    f.answer(5);
    const fs::path otherLog = put(f);
    EXPECT_EQ(found(), "5");
    fs::remove(otherLog);
    EXPECT_EQ(found(), "5 goneLog:1");
    home = first;
    fs::remove(home / ".codex" / day / path.filename());
    EXPECT_EQ(found(), "11011 goneLog:1");
    // What a later version wrote stays as it is; what is damaged is put aside and named.
    const fs::path store = cache / "session-usage.sqlite";
    ASSERT_TRUE(DatabaseWriter(store).run("PRAGMA user_version = 99;"));
    EXPECT_EQ(found(), "1000 missingLog:1 damagedRecord:1");
    ASSERT_TRUE(DatabaseWriter(store).run("PRAGMA user_version = 1;"));
    EXPECT_EQ(found(), "11011 goneLog:1");
    for (const char* rest : {"-wal", "-shm"}) fs::remove(store.string() + rest);
    fs::resize_file(store, 0);
    fs::resize_file(store, 40'960);
    EXPECT_EQ(found(), "1000 missingLog:1 damagedRecord:1");
    EXPECT_TRUE(fs::exists(store.string() + ".damaged"));
    const fs::path third = put(f);
    EXPECT_EQ(found(), "1005 missingLog:1 damagedRecord:1");
    fs::remove(third);
    EXPECT_EQ(found(), "1005 missingLog:1 goneLog:1 damagedRecord:1");
    home = root() / "other home";
    EXPECT_EQ(run({"forget-gone"}, variables(cache)).output, "Forgot 1 log that is gone\n");
    home = first;
    EXPECT_EQ(found(), "1000 missingLog:2");
}

TEST_F(Homes, OfCopiesTheLongerCounts) {
    Log a = newLog(idOf('a'), true);
    a.answer(1);
    const Log beginning = a;
    a.answer(10);
    put(a);
    const auto copy = [&](const Log& log) {
        return put("sessions/2026/11/21/rollout-2026-11-20T10-00-00-" + idOf('a') + "-copy.jsonl",
                   log.text);
    };
    copy(a);
    EXPECT_EQ(found(true), "11");
    Log other = beginning;
    for (const int tokens : {100, 1'000}) other.answer(tokens);
    const fs::path beside = copy(a);
    EXPECT_EQ(found(), "11");
    copy(other);
    EXPECT_EQ(found(true), "1101 divergentCopy:1");
    EXPECT_EQ(found(), "1111 divergentCopy:1 goneLog:1");  // 10 was counted
    fs::remove(beside);
    Log longest = a;
    for (const int tokens : {10'000, 100'000}) longest.answer(tokens);
    copy(longest);
    EXPECT_EQ(found(true), "110011");
}

TEST_F(Homes, RowsAndFilesThatTellNothingAreNamed) {
    Log a = newLog(idOf('a'), true);
    a.answer(7);
    a.text += "{\"type\":\"token_count\"\n";  // a crash
    a.total += 5;                             // told by no record
    a.answer(30);
    put(a);
    a.text += a.text.substr(a.text.rfind("{\"time"), 99);  // a line that is being written
    put(a);
    std::string rows;
    for (int i = 0; i < 990; ++i) {
        rows += "INSERT INTO threads VALUES ('t" + std::to_string(i) + "', '/gone/rollout-" +
                std::to_string(i) + ".jsonl', 1795000000);";
    }
    sql("BEGIN;" + rows + "COMMIT;");
    fs::create_directory(home / ".codex" / day / "rollout-folder.jsonl");
    put(day / "rollout-2026-11-20T10-00-00-x.jsonl.zst", "not packed");
    const std::string gaps =
        "37 missingLog:990 damagedLog:1 notRegularFile:1 unreadableLines:1 recordDisagreement:1";
    EXPECT_EQ(found(), gaps);
    EXPECT_EQ(found(), gaps);
    put(day / "rollout-2026-11-20T10-00-00-x.jsonl.zst", *compressed(newLog("x", true).text));
    EXPECT_EQ(found(), "37 missingLog:990 notRegularFile:1 unreadableLines:1 recordDisagreement:1");
}
