#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <functional>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "local/cache/SessionStore.h"
#include "platform/Database.h"
#include "selftests/Suites.h"
#include "selftests/support/SelfTest.h"

namespace vantry {

namespace {

namespace fs = std::filesystem;
using Access = SessionStore::Access;
using Start = SessionStore::WriteStart;

constexpr std::int64_t rowCount = 400;
const std::string home = "/home/\xff";
const std::string events(6000, 'e');

StoredSession row(std::int64_t id) {
    return {.id = id,
            .home = home,
            .path = "/log\n" + std::to_string(id),
            .isGone = id % 7 == 0,
            .head = std::string(300, static_cast<char>(id)) + '\0'};
}

std::string shareOf(std::int64_t id) {
    return "share " + std::to_string(id) + std::string(900, '.');
}

/// Puts rows with their parts in one transaction; whether it was written.
bool fill(SessionStore& store, std::int64_t first, std::int64_t last) {
    if (!store.sessions(home) || store.beginWriting() != Start::ready) return false;
    for (std::int64_t id = first; id <= last; ++id) {
        store.put(row(id));
        store.putPart(id, SessionPart::events, events);
        store.putPart(id, SessionPart::share, shareOf(id));
    }
    store.setValue("key", "value");
    return store.commit();
}

/// How many rows, shares and events are as they were put; -1 for one that is not.
std::array<std::int64_t, 3> soundIn(SessionStore& store) {
    std::array<std::int64_t, 3> counts{};
    for (const StoredSession& session :
         store.sessions(home).value_or(std::vector<StoredSession>{})) {
        if (session != row(session.id)) return {-1, -1, -1};
        ++counts[0];
        const auto kept = store.part(session.id, SessionPart::events);
        if (kept == events) ++counts[2];
    }
    store.forEachPart(home, SessionPart::share, [&](std::int64_t id, std::string_view bytes) {
        counts[1] = bytes == shareOf(id) && counts[1] >= 0 ? counts[1] + 1 : -1;
    });
    return counts;
}

constexpr std::array<std::int64_t, 3> allOfThem{rowCount, rowCount, rowCount};

/// What a child process does, and whether it says that it went well. It ends without destructors.
bool inChild(const std::function<bool()>& deed) {
    const pid_t child = ::fork();
    if (child == 0) ::_exit(deed() ? 0 : 1);
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

void alter(const fs::path& file, const char* sql) {
    Database database;
    database.open(file, Database::Opening::writable);
    database.run(sql);
}

void checkRoundTrip(SelfTest& test) {
    const TemporaryDirectory directory("session-store");
    const fs::path file = directory.path() / "new" / "folder" / "store";
    {
        SessionStore store(file);
        test.expect(store.access() == Access::writable && store.nextId() == 1 && store.hasChanged(),
                    "a store is made where there is none");
        test.expect(fill(store, 1, rowCount) && !store.hasChanged(), "rows are written");
        store.beginWriting();
        StoredSession moved = row(1);
        moved.path = row(7).path;  // of a row that is gone
        moved.head.clear();
        store.put(moved);
        store.erase(2);
        store.erase(rowCount);
        store.eraseValue("key");
        store.putPart(3, SessionPart::share, "");
        test.expect(store.part(3, SessionPart::share) == "" && !store.value("key") &&
                        store.sessions(home)->front() == moved,
                    "a transaction reads what it has put");
        store.rollBack();
        test.expect(soundIn(store) == allOfThem, "what is rolled back never was");
        store.beginWriting();
        store.erase(rowCount);
        store.put(moved);
        test.expect(store.commit() && store.nextId() == rowCount + 1, "an id is used once");
        test.expect(!store.part(rowCount, SessionPart::events), "parts go with their log");
        StoredSession second = row(8);
        second.path = row(9).path;
        store.beginWriting();
        store.setValue("key", "other");
        store.put(second);
        store.setValue("key", "another");
        test.expect(!store.commit() && store.value("key") == "value",
                    "a path that is taken fails all of the transaction");
    }
    test.expect(fs::status(file.parent_path()).permissions() == fs::perms(0700) &&
                    fs::status(file).permissions() == fs::perms(0600),
                "nobody else reads it");
    SessionStore again(file);
    test.expect(again.sessions(home)->size() == rowCount - 1 && again.sessions("/")->empty() &&
                    again.nextId() == rowCount + 1 && again.value("key") == "value",
                "it is all there for the next process");
}

void checkTwoStores(SelfTest& test) {
    const TemporaryDirectory directory("session-store");
    const fs::path file = directory.path() / "store";
    SessionStore one(file);
    SessionStore other(file);
    fill(one, 1, 10);
    other.sessions(home);
    test.expect(fill(one, 11, rowCount) && other.hasChanged() &&
                    other.beginWriting() == Start::outdated && soundIn(other) == allOfThem &&
                    other.beginWriting() == Start::ready,
                "who has not seen the last commit does not write");
    const auto start = std::chrono::steady_clock::now();
    const Start second = one.beginWriting();
    const auto took = std::chrono::steady_clock::now() - start;
    test.expect(second == Start::busy && took < std::chrono::seconds(4),
                "who has to wait does so for a while");
    other.setValue("key", "lost");
    fs::remove_all(directory.path());
    test.expect(!other.commit(), "nothing is written into a file that was deleted");
    test.expect(one.hasChanged() && one.sessions(home)->empty() && fill(one, 1, 2) &&
                    other.beginWriting() == Start::outdated,
                "a file that was deleted is made anew");
}

void checkRefusals(SelfTest& test) {
    const TemporaryDirectory directory("session-store");
    const fs::path folder = directory.path() / "folder";
    const fs::path file = folder / "store";
    {
        SessionStore store(file);
        fill(store, 1, rowCount);
    }
    // No connection is open where a child begins: SQLite's do not go through a fork.
    inChild([&] {
        SessionStore store(file);
        if (!store.sessions(home) || store.beginWriting() != Start::ready) return false;
        const std::string large(100'000, 'x');
        for (std::int64_t id = 1; id < 300; ++id) store.putPart(id, SessionPart::events, large);
        return ::raise(SIGKILL) == 0;
    });
    {
        SessionStore store(file);
        test.expect(soundIn(store) == allOfThem, "a process that is killed has written nothing");
    }
    ::signal(SIGXFSZ, SIG_IGN);
    test.expect(inChild([&] {
                    SessionStore store(file);
                    const rlimit limit{.rlim_cur = 500'000, .rlim_max = RLIM_INFINITY};
                    ::setrlimit(RLIMIT_FSIZE, &limit);
                    return !fill(store, 1000, 2000) && soundIn(store) == allOfThem &&
                           fill(store, 1, 1);
                }),
                "a full disk fails the transaction and nothing else");
    ::signal(SIGXFSZ, SIG_DFL);
    const fs::path fresh = folder / "fresh";
    for (const bool hasJournals : {true, false}) {
        if (!hasJournals) fs::remove(file.native() + "-wal");
        if (!hasJournals) fs::remove(file.native() + "-shm");
        // Another user, as permissions do not bind root.
        for (const char* const ending : {"", "-wal", "-shm"}) {
            ::chmod((file.native() + ending).c_str(), 0644);
        }
        fs::permissions(directory.path(), fs::perms(0755));
        fs::permissions(folder, fs::perms(0555));
        test.expect(inChild([&] {
                        if (::geteuid() == 0 && ::setuid(65534) != 0) return false;
                        SessionStore store(file);
                        return store.access() == Access::readOnly && soundIn(store) == allOfThem &&
                               store.beginWriting() == Start::unavailable &&
                               SessionStore(fresh).access() == Access::unavailable;
                    }),
                    "a folder that cannot be written is read");
        fs::permissions(folder, fs::perms(0700));
    }
    fs::create_directory(fresh);
    for (const fs::path& place : {fresh, fs::path()}) {
        SessionStore store(place);
        store.put(row(1));
        test.expect(store.access() == Access::unavailable && !store.sessions(home) &&
                        store.beginWriting() == Start::unavailable && !store.commit(),
                    "without a file nothing is kept");
    }
    for (const auto& [sql, access] :
         {std::pair{"PRAGMA user_version = 2; PRAGMA journal_mode = DELETE", Access::newer},
          {"PRAGMA user_version = 1; PRAGMA application_id = 7", Access::unavailable}}) {
        alter(file, sql);
        const std::string before = wholeFile(file);
        SessionStore store(file);
        test.expect(store.access() == access && !store.sessions(home) && wholeFile(file) == before,
                    "a file of somebody else is left alone");
    }
}

/// What is done to a file of `rowCount` rows, and what must be left.
struct Damage {
    std::string_view what;
    std::function<void(const fs::path& file)> deed;
    std::array<std::int64_t, 3> leastLeft;
    bool isPutAside = true;
    bool isLost = true;
};

void overwrite(const fs::path& file, std::uintmax_t from, std::uintmax_t size) {
    std::fstream stream(file, std::ios::in | std::ios::out | std::ios::binary);
    stream.seekp(static_cast<std::streamoff>(from));
    stream << std::string(size, '\x5a');
}

void checkDamage(SelfTest& test) {
    const auto zeros = [](std::uintmax_t size) {
        return [size](const fs::path& file) {
            std::ofstream(file, std::ios::binary | std::ios::trunc) << std::string(size, '\0');
        };
    };
    const auto cutTo = [](std::uintmax_t part) {
        return
            [part](const fs::path& file) { fs::resize_file(file, fs::file_size(file) * part / 8); };
    };
    const auto change = [](const char* sql) {
        return [sql](const fs::path& file) { alter(file, sql); };
    };
    const Damage cases[] = {
        {"zeros", zeros(100'000), {0, 0, 0}},
        {"the first page", [](const fs::path& file) { overwrite(file, 0, 4096); }, allOfThem, true,
         false},
        {"nothing", zeros(0), {0, 0, 0}, false, false},
        {"cut", cutTo(7), {300, 300, 300}},
        {"two places",
         [](const fs::path& file) {
             for (const std::uintmax_t eighth : {3U, 6U}) {
                 overwrite(file, fs::file_size(file) * eighth / 8 / 4096 * 4096, 8192);
             }
         },
         {300, 360, 360}},
        {"a wrong head",
         change("UPDATE log SET head = x'00' WHERE id = 5"),
         {399, 400, 399},
         false,
         false},
        {"a missing table", change("DROP TABLE share"), {400, 0, 400}},
        {"an old journal", change("PRAGMA journal_mode = DELETE"), allOfThem, false, false}};
    for (const auto& [what, deed, leastLeft, isPutAside, isLost] : cases) {
        const TemporaryDirectory directory("session-store");
        const fs::path file = directory.path() / "store";
        {
            SessionStore store(file);
            fill(store, 1, rowCount);
        }
        deed(file);
        SessionStore store(file);
        soundIn(store);  // finds the damage wherever it is
        const auto left = soundIn(store);
        const bool hasEnough =
            left[0] >= leastLeft[0] && left[1] >= leastLeft[1] && left[2] >= leastLeft[2];
        const std::string aside = file.native() + ".damaged";
        const bool hasValue = leastLeft != allOfThem || store.value("key") == "value";
        test.expect(hasEnough && hasValue, "what can be read is taken over: " + std::string(what));
        test.expect(
            fs::exists(aside) == isPutAside && store.value(SessionStore::lostValue) ==
                                                   (isLost ? std::optional(aside) : std::nullopt),
            "a loss is named: " + std::string(what));
        test.expect(
            fill(store, 1, rowCount) && soundIn(store) == allOfThem && !fs::exists(aside + "2"),
            "and made good: " + std::string(what));
    }
}

}  // namespace

bool SessionStoreSelfTest::run() {
    return SelfTest::run("session store",
                         {checkRoundTrip, checkTwoStores, checkRefusals, checkDamage});
}

}  // namespace vantry
