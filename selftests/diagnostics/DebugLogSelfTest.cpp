#include <chrono>
#include <fcntl.h>
#include <future>
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
using namespace std::chrono_literals;

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

void rejectsDirectorySymbolicLink(SelfTest& test, const TemporaryDirectory& directory) {
    for (const char* name : {"Logs", "Logs/Vantry"}) {
        const fs::path library = makeLibrary(directory, fs::path("directory-link") / name);
        const fs::path target = directory.path() / "directory-link" / name / "target";
        fs::create_directories(target);
        fs::permissions(target, fs::perms(0755));
        fs::create_directories((library / name).parent_path());
        fs::create_directory_symlink(target, library / name);
        appendOk(library);
        test.expect(fs::is_empty(target) && mode(target) == 0755,
                    "nothing is written or changed through a linked directory");
    }
}

void rejectsFileSymbolicLink(SelfTest& test, const TemporaryDirectory& directory) {
    const fs::path library = makeLibrary(directory, "file-link");
    const fs::path target = directory.write("file-link/target", "kept");
    fs::permissions(target, fs::perms(0644));
    fs::create_directories(library / "Logs/Vantry");
    fs::create_symlink(target, library / "Logs/Vantry/Vantry.log");
    appendOk(library);
    test.expect(wholeFile(target) == "kept" && mode(target) == 0644,
                "the target of a linked log stays untouched");
}

void rejectsFIFOWithoutBlocking(SelfTest& test, const TemporaryDirectory& directory) {
    const fs::path library = makeLibrary(directory, "fifo");
    fs::create_directories(library / "Logs/Vantry");
    const fs::path fifo = library / "Logs/Vantry/Vantry.log";
    ::mkfifo(fifo.c_str(), 0600);
    auto call = std::async(std::launch::async, [&] { appendOk(library); });
    const bool returned = call.wait_for(1s) == std::future_status::ready;
    const FileDescriptor reader(::open(fifo.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    call.wait();
    test.expect(returned, "a FIFO without a reader does not block");
    appendOk(library);
    char byte = 0;
    test.expect(::read(reader.number(), &byte, 1) <= 0, "a FIFO with a reader gets nothing");
}

void writesWhenAsked(SelfTest& test, const TemporaryDirectory& directory) {
    const fs::path home = directory.path() / "home";
    const auto environment = [&](const char* flag) {
        return environmentOf({{"CODEX_USAGE_WIDGET_DEBUG", flag},
                              {"VANTRY_HOME_OVERRIDE", home.string()},
                              {"XDG_STATE_HOME", "/nonexistent"}});
    };
    DebugLogWriter::write("off", environment("true"));
    test.expect(!fs::exists(home), "any other value leaves the log off");
    DebugLogWriter::write("on", environment("1"));
    const fs::path state = home / ".local/state";
    test.expect(
        wholeFile(state / "Logs/Vantry/Vantry.log").ends_with("Z on\n") && mode(state) == 0700,
        "the exact value makes the state directory and the log");
}

}  // namespace

bool DebugLogSelfTest::run() {
    SelfTest test("debug log");
    const TemporaryDirectory directory("vantry-debug-log-self-test-");
    appendsPrivately(test, directory);
    refusesFileAsDirectory(test, directory);
    rejectsDirectorySymbolicLink(test, directory);
    rejectsFileSymbolicLink(test, directory);
    rejectsFIFOWithoutBlocking(test, directory);
    writesWhenAsked(test, directory);
    return test.finish();
}

}  // namespace vantry
