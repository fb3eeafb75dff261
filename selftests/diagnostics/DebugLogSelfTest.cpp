#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "diagnostics/DebugLog.h"
#include "platform/FileDescriptor.h"
#include "selftests/Suites.h"
#include "selftests/support/Moments.h"
#include "selftests/support/SelfTest.h"

namespace vantry {

namespace {

namespace fs = std::filesystem;

const Date noon(1'772'366'400);  // 2026-03-01T12:00:00Z

void appendOk(const fs::path& library) {
    DebugLogWriter::append({.message = "append-ok", .libraryDirectory = library, .now = noon});
}

mode_t mode(const fs::path& path) {
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
}

/// A Library directory of its own for each case.
fs::path makeLibrary(const TemporaryDirectory& directory, const fs::path& name) {
    fs::path library = directory.path() / name / "Library";
    fs::create_directories(library);
    return library;
}

void appendsPrivately(SelfTest& test, const TemporaryDirectory& directory) {
    const fs::path library = makeLibrary(directory, "append");
    const fs::path folder = library / "Logs/Vantry";
    const fs::path log = folder / "Vantry.log";
    appendOk(library);
    test.expect(wholeFile(log) == "2026-03-01T12:00:00Z append-ok\n", "a first line makes the log");
    test.expect(mode(log) == 0600 && mode(folder) == 0700, "the log is for its user alone");

    fs::permissions(log, fs::perms(0644));
    fs::permissions(folder, fs::perms(0755));
    appendOk(library);
    test.expect(
        wholeFile(log) == "2026-03-01T12:00:00Z append-ok\n2026-03-01T12:00:00Z append-ok\n",
        "a second line joins the first");
    test.expect(mode(log) == 0600 && mode(folder) == 0700, "loose permissions are tightened");
}

void refusesFileAsDirectory(SelfTest& test, const TemporaryDirectory& directory) {
    const fs::path blocked = directory.write("blocked-library", "kept");
    appendOk(blocked);
    const fs::path library = makeLibrary(directory, "blocked");
    directory.write("blocked/Library/Logs", "kept");
    appendOk(library);
    appendOk(directory.path() / "missing");
    test.expect(wholeFile(blocked) == "kept" && wholeFile(library / "Logs") == "kept",
                "a file in the place of a directory is left alone");
    test.expect(!fs::exists(directory.path() / "missing"), "a missing Library is not made");
}

void rejectsSymbolicLinks(SelfTest& test, const TemporaryDirectory& directory) {
    for (const fs::path name : {"Logs", "Logs/Vantry", "Logs/Vantry/Vantry.log"}) {
        const fs::path library = makeLibrary(directory, "link" / name);
        const fs::path target = directory.path() / "link" / name / "target";
        const bool isFile = name.extension() == ".log";
        directory.write(isFile ? target : target / "kept", "kept");
        fs::permissions(target, fs::perms(0755));
        fs::create_directories((library / name).parent_path());
        fs::create_symlink(target, library / name);
        appendOk(library);
        test.expect(mode(target) == 0755 &&
                        wholeFile(isFile ? target : target / "kept") == "kept" &&
                        !fs::exists(target / "Vantry") && !fs::exists(target / "Vantry.log"),
                    "nothing is written or changed through a link");
    }
}

void rejectsFIFOWithoutBlocking(SelfTest& test, const TemporaryDirectory& directory) {
    const fs::path library = makeLibrary(directory, "fifo");
    fs::create_directories(library / "Logs/Vantry");
    const fs::path fifo = library / "Logs/Vantry/Vantry.log";
    ::mkfifo(fifo.c_str(), 0600);
    appendOk(library);  // without a reader it does not block
    const FileDescriptor reader(::open(fifo.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    appendOk(library);
    char byte = 0;
    test.expect(::read(reader.number(), &byte, 1) <= 0, "a FIFO with a reader gets nothing");
}

}  // namespace

bool DebugLogSelfTest::run() {
    SelfTest test("debug log");
    const TemporaryDirectory directory("vantry-debug-log-self-test-");
    appendsPrivately(test, directory);
    refusesFileAsDirectory(test, directory);
    rejectsSymbolicLinks(test, directory);
    rejectsFIFOWithoutBlocking(test, directory);
    return test.finish();
}

}  // namespace vantry
