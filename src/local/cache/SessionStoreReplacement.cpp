#include "local/cache/SessionStoreReplacement.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <fcntl.h>
#include <fmt/format.h>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

#include "diagnostics/DebugLog.h"
#include "local/cache/SessionStore.h"
#include "local/cache/SessionStoreFile.h"
#include "local/cache/SessionStoreSalvage.h"
#include "platform/Database.h"
#include "platform/FileDescriptor.h"

namespace vantry::SessionStoreFile {

namespace {

namespace fs = std::filesystem;

constexpr std::array journals{"-wal", "-journal"};

bool exists(const std::string& file) {
    struct stat status {};
    return ::lstat(file.c_str(), &status) == 0;
}

/// A name that nothing has, neither for the file nor for its journals.
std::string freeNameFor(const fs::path& file) {
    for (int number = 1;; ++number) {
        std::string name = file.native() + ".damaged" + (number > 1 ? std::to_string(number) : "");
        const bool isTaken = exists(name) || std::ranges::any_of(journals, [&](const char* ending) {
                                 return exists(name + ending);
                             });
        if (!isTaken) return name;
    }
}

bool synchronise(const std::string& place, int flags) {
    const FileDescriptor descriptor(::open(place.c_str(), flags | O_RDONLY | O_CLOEXEC));
    return descriptor.isOpen() && ::fsync(descriptor.number()) == 0;
}

void removeWithJournals(const std::string& file) {
    for (const char* const ending : {"", "-wal", "-journal", "-shm"}) {
        ::unlink((file + ending).c_str());
    }
}

/// A second name for each file, or the only one where a file system has no links.
bool putAside(const std::string& file, const std::string& aside) {
    for (const char* const ending : {"-wal", "-journal", ""}) {
        const std::string from = file + ending;
        const std::string to = aside + ending;
        if (!exists(from) || ::link(from.c_str(), to.c_str()) == 0) continue;
        if (::rename(from.c_str(), to.c_str()) != 0) return false;
    }
    return true;
}

constexpr std::size_t pageSize = 4096;

std::string firstPageOf(const std::string& file) {
    std::string page(pageSize, '\0');
    const FileDescriptor descriptor(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
    const ssize_t size = ::pread(descriptor.number(), page.data(), page.size(), 0);
    return size == static_cast<ssize_t>(page.size()) ? page : std::string();
}

/// A copy whose first page, of which all others depend, is that of the sound database `model`:
/// tables begin on the same pages in both. Where they do not, checksums tell. False: it cannot be
/// written.
bool copyWithPageOf(const std::string& model, const std::string& file, const std::string& copy) {
    removeWithJournals(copy);
    std::error_code error;
    fs::copy_file(file, copy, error);
    for (const char* const ending : journals) {
        if (!error && exists(file + ending)) fs::copy_file(file + ending, copy + ending, error);
    }
    std::string page = firstPageOf(model);
    if (error || page.empty()) return false;
    const std::uintmax_t pages = fs::file_size(copy, error) / pageSize;
    // The file format names the places: the kind of journal, and the size in pages.
    if (exists(copy + "-wal")) page[18] = page[19] = 2;
    for (unsigned i = 0; i < 4; ++i) page[28 + i] = static_cast<char>(pages >> (24 - 8 * i));
    const FileDescriptor descriptor(::open(copy.c_str(), O_WRONLY | O_CLOEXEC));
    return ::pwrite(descriptor.number(), page.data(), page.size(), 0) ==
           static_cast<ssize_t>(page.size());
}

bool hasTables(Database& database) {
    return database.statement("SELECT 1 FROM state, log, events, share, value").isPrepared();
}

std::string copyName(const std::string& file) {
    return file + ".old";
}

struct Made {
    bool isWritten = false;
    bool isComplete = false;
};

Made makeAnew(const std::string& file, const std::string& made, const std::string& aside) {
    Database source;
    source.open(file, Database::Opening::writable);
    source.waitForLocksUntil(Database::Clock::now() + lockPatience);
    source.tolerateDamage();
    // Keeps writers out where the file is sound enough for that.
    source.run("BEGIN IMMEDIATE");
    removeWithJournals(made);
    ::mknod(made.c_str(), S_IFREG | 0600, 0);
    Database target;
    if (isFailure(target.open(made, Database::Opening::writable)) ||
        isFailure(target.run("PRAGMA journal_mode = OFF; PRAGMA synchronous = OFF")) ||
        isFailure(makeTables(target))) {
        return {};
    }
    std::error_code error;
    if (!hasTables(source) && fs::file_size(file, error) >= pageSize && !error) {
        source.close();
        const std::string copy = copyName(file);
        if (!copyWithPageOf(made, file, copy)) return {};
        source.open(copy, Database::Opening::writable);
        source.tolerateDamage();
    }
    if (isFailure(target.run("BEGIN"))) return {};
    const SessionStoreSalvage::Outcome outcome = SessionStoreSalvage::takeOver(source, target);
    if (!outcome.isDone) return {};
    if (!outcome.isComplete) {
        DatabaseStatement& note = target.statement(
            "INSERT INTO value(key, checksum, bytes) VALUES(?1, ?2, ?3)"
            " ON CONFLICT(key) DO UPDATE SET checksum = ?2, bytes = ?3");
        const std::string_view key = SessionStore::lostValue;
        note.bindBytes(1, key).bind(2, checksumOf(Kind::value, key, aside)).bindBytes(3, aside);
        if (isFailure(note.run())) return {};
    }
    const bool isWritten = !isFailure(target.run("COMMIT"));
    target.close();
    return {.isWritten = isWritten && synchronise(made, 0), .isComplete = outcome.isComplete};
}

}  // namespace

bool replaceMalformed(const fs::path& file) {
    const std::string& place = file.native();
    const std::string made = place + ".new";
    const std::string aside = freeNameFor(file);
    const Made result = makeAnew(place, made, aside);
    removeWithJournals(copyName(place));
    if (!result.isWritten || !putAside(place, aside)) {
        debugLog("session store: malformed, and no new one can be made");
        removeWithJournals(made);
        return false;
    }
    // The old journals must never meet the new file.
    for (const char* const ending : {"-shm", "-wal", "-journal"})
        ::unlink((place + ending).c_str());
    const bool isReplaced = std::rename(made.c_str(), place.c_str()) == 0;
    const std::string folder = file.parent_path().native();
    synchronise(folder.empty() ? "." : folder, O_DIRECTORY);
    debugLog(fmt::format("session store: malformed and put aside as {}, {}", aside,
                         result.isComplete ? "all of it taken over" : "with a loss"));
    return isReplaced;
}

}  // namespace vantry::SessionStoreFile
