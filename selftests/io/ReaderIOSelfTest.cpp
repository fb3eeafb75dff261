#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include "io/AppServerRequestWriter.h"
#include "io/BoundedCacheData.h"
#include "io/LocalFileAccess.h"
#include "io/RegularFileReader.h"
#include "selftests/Suites.h"
#include "selftests/support/SelfTest.h"

namespace vantry {

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using Outcome = AppServerRequestWriter::Outcome;

std::uint64_t inode(const fs::path& path) {
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0 ? status.st_ino : 0;
}

std::string contents(const std::optional<FileDescriptor>& file) {
    std::array<char, 64> buffer{};
    if (!file) return {};
    return {buffer.data(), RegularFileReader::read(*file, buffer).value_or(0)};
}

void checkRegularFiles(SelfTest& test) {
    const TemporaryDirectory directory("vantry-reader-io-");
    const fs::path regular = directory.write("regular.jsonl", "one\ntwo\n");
    const fs::path link = directory.path() / "link.jsonl";
    fs::create_symlink(regular, link);
    const std::uint64_t identity = inode(regular);
    const auto open = [](const fs::path& path) { return RegularFileReader::open({.path = path}); };
    test.expect(contents(open(regular)) == "one\ntwo\n", "a regular file opens");
    for (const fs::path& other : {link, directory.path(), directory.path() / "missing",
                                  fs::path(regular.string() + std::string("\0x", 2))}) {
        test.expect(!open(other), "no link, directory, nothing or path with a NUL byte opens");
    }

    const auto withSize = [&](std::int64_t size) {
        return RegularFileReader::open(
            {.path = regular, .expectedFileIdentifier = identity, .minimumSize = size});
    };
    test.expect(withSize(8) && !withSize(-1), "a size is a lower bound and not negative");
    fs::resize_file(regular, 4);
    test.expect(!withSize(8), "截短文件不应接受为完整快照");

    fs::rename(directory.write("replacement.jsonl", "other file\n"), regular);
    test.expect(!withSize(4), "替换文件不应继承原快照身份");
    test.expect(contents(open(regular)) == "other file\n", "a replaced file opens by its name");

    const fs::path fifo = directory.path() / "fifo.jsonl";
    ::mkfifo(fifo.c_str(), 0600);
    test.expect(!open(fifo) && !boundedCacheData(fifo, 100), "FIFO 检查不应等待写端");
}

void checkCacheData(SelfTest& test) {
    const TemporaryDirectory directory("vantry-reader-io-");
    const fs::path file = directory.write("cache.json", "0123456789");
    const fs::path link = directory.path() / "link.json";
    fs::create_symlink(file, link);
    test.expect(boundedCacheData(file, 10) == "0123456789" &&
                    boundedCacheData(file, std::numeric_limits<std::int64_t>::max()).has_value(),
                "a file of just the limit is read whole");
    test.expect(!boundedCacheData(file, 9) && !boundedCacheData(file, -1),
                "a file above the limit counts as absent");
    test.expect(boundedCacheData(directory.write("empty.json", ""), 0) == "",
                "an empty file is not an absent one");
    test.expect(!boundedCacheData(link, 10) && !boundedCacheData(directory.path(), 10'000) &&
                    !boundedCacheData(directory.path() / "missing", 10),
                "what is not a regular file counts as absent");
    // A size of 0 is what a file shows that still grows: the end is where the read ends.
    const auto grown = boundedCacheData("/proc/self/status", 1 << 20);
    test.expect(grown && grown->size() > 100, "a file is read beyond the size it showed");
    test.expect(!boundedCacheData("/proc/self/status", 100),
                "the limit also holds for a file that grows");
}

void checkLocalAccess(SelfTest& test) {
    const TemporaryDirectory directory("vantry-reader-io-");
    const fs::path home = directory.path() / "home";
    directory.write("home/sessions/log.jsonl", "");
    directory.write("home-other/log.jsonl", "");
    const fs::path alias = directory.path() / "alias";
    fs::create_directory_symlink(home, alias);
    fs::create_directory_symlink(home / "sessions", home / "linked");
    fs::create_symlink(home / "sessions/log.jsonl", home / "log.jsonl");

    using Case = std::tuple<std::string_view, bool, fs::path, std::vector<LocalFileRoot>>;
    const fs::path log = home / "sessions/log.jsonl";
    const fs::path beside = directory.path() / "home-other/log.jsonl";
    const fs::path viaAlias = alias / "sessions/log.jsonl";
    const LocalFileRoot plain{.path = home};
    const LocalFileRoot strict{.path = alias, .checksRootForSymlink = true};
    const std::string slashes = home.string() + "//";
    const std::vector<Case> cases = {
        {"a plain file below its root", true, log, {plain}},
        {"slashes at the end of a root do not matter", true, log, {{.path = slashes}}},
        {"nor do empty components", true, slashes + "sessions//log.jsonl", {plain}},
        {"everything plain lies below /", true, log, {{.path = "/"}}},
        {"the root itself", true, home, {plain}},
        {"no root, no access", false, log, {}},
        {"an unknown root holds nothing", false, log, {{.path = ""}}},
        {"a longer name beside", false, beside, {plain}},
        {"a root whose name begins like the one before it",
         true,
         beside,
         {plain, {beside.parent_path()}}},
        {"a missing file", false, home / "sessions/none.jsonl", {plain}},
        {"a link as the last component", false, home / "log.jsonl", {plain}},
        {"a link with a slash behind it", false, home / "log.jsonl/", {plain}},
        {"a link in the middle", false, home / "linked/log.jsonl", {plain}},
        {"a way out of the root", false, home / "../home-other/log.jsonl", {plain}},
        {"a root that is a link", true, viaAlias, {{.path = alias}}},
        {"a root that must not be a link", false, viaAlias, {strict}},
        {"the first root that fits decides", false, alias, {strict, {directory.path()}, {alias}}},
    };
    for (const auto& [what, allowed, path, roots] : cases) {
        test.expect(localFileAccessIsAllowed(path, roots) == allowed, what);
    }
}

struct WriterAndReader {
    std::unique_ptr<AppServerRequestWriter> writer;
    FileDescriptor readEnd;
    int writeNumber = -1;
};

WriterAndReader makeWriter() {
    std::array<int, 2> ends{-1, -1};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) return {};
    return {.writer = AppServerRequestWriter::create(FileDescriptor(ends[1])).writer,
            .readEnd = FileDescriptor(ends[0]),
            .writeNumber = ends[1]};
}

bool failedWith(const AppServerRequestWriter::WriteResult& result, int number) {
    return result.outcome == Outcome::failed && result.error.value() == number;
}

void checkRequestLimits(SelfTest& test) {
    const auto bad = AppServerRequestWriter::create(FileDescriptor());
    test.expect(!bad.writer && bad.error.value() == EBADF, "a closed pipe makes no writer");

    WriterAndReader pipe = makeWriter();
    const auto limit = static_cast<std::size_t>(::fpathconf(pipe.writeNumber, _PC_PIPE_BUF));
    test.expect(failedWith(pipe.writer->write(std::string(limit + 1, 'x')), EMSGSIZE),
                "a request above the atomic size is refused whole");
    pollfd entry{.fd = pipe.readEnd.number(), .events = POLLIN, .revents = 0};
    test.expect(::poll(&entry, 1, 0) == 0, "and nothing of it is sent");

    const auto start = std::chrono::steady_clock::now();
    AppServerRequestWriter::WriteResult last{.outcome = Outcome::written};
    for (int round = 0; round < 10'000 && last.outcome == Outcome::written; ++round) {
        last = pipe.writer->write(std::string(limit, 'x'));
    }
    const bool full = failedWith(last, EAGAIN);
    pipe.writer->close();
    test.expect(full && std::chrono::steady_clock::now() - start < 2s,
                "无人读取的管道应有界失败，不能阻塞关闭");
    test.expect(pipe.writer->write("{}\n").outcome == Outcome::closed, "and is not written again");

    WriterAndReader unread = makeWriter();
    unread.readEnd.close();
    test.expect(failedWith(unread.writer->write("{}\n"), EPIPE),
                "读端关闭应抛错，不应触发 SIGPIPE 或静默成功");
}

}  // namespace

bool ReaderIOSelfTest::run() {
    return SelfTest::run("reader IO",
                         {checkRegularFiles, checkCacheData, checkLocalAccess, checkRequestLimits});
}

}  // namespace vantry
