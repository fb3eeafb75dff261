#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <future>
#include <memory>
#include <poll.h>
#include <sys/stat.h>
#include <thread>
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

/// Runs `ask` on a thread of its own; a FIFO that makes it wait is given a writer after a second.
template <typename Ask>
bool answersWithoutWriter(const fs::path& fifo, Ask ask) {
    auto answer = std::async(std::launch::async, ask);
    if (answer.wait_for(1s) == std::future_status::ready) return true;
    const FileDescriptor release(::open(fifo.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
    answer.wait();
    return false;
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
    bool refused = false;
    test.expect(
        answersWithoutWriter(fifo, [&] { refused = !open(fifo) && !boundedCacheData(fifo, 100); }),
        "FIFO 检查不应等待写端");
    test.expect(refused, "a FIFO does not open");
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
}

volatile sig_atomic_t pipeSignals = 0;
void countPipeSignal(int) {
    pipeSignals = pipeSignals + 1;
}

bool pipeSignalIsPending() {
    sigset_t pending;
    ::sigpending(&pending);
    return ::sigismember(&pending, SIGPIPE) == 1;
}

void checkClosedReader(SelfTest& test) {
    struct sigaction counting {};
    struct sigaction before {};
    counting.sa_handler = countPipeSignal;
    ::sigaction(SIGPIPE, &counting, &before);
    pipeSignals = 0;
    WriterAndReader pipe = makeWriter();
    pipe.readEnd.close();
    test.expect(failedWith(pipe.writer->write("{}\n"), EPIPE) && pipeSignals == 0,
                "读端关闭应抛错，不应触发 SIGPIPE 或静默成功");

    sigset_t pipeSignal;
    sigset_t mask;
    ::sigemptyset(&pipeSignal);
    ::sigaddset(&pipeSignal, SIGPIPE);
    ::pthread_sigmask(SIG_BLOCK, &pipeSignal, &mask);
    pipe.writer->write("{}\n");
    test.expect(!pipeSignalIsPending(), "no signal waits for a thread that blocks it");
    ::raise(SIGPIPE);
    pipe.writer->write("{}\n");
    test.expect(pipeSignalIsPending(), "a signal of somebody else is left alone");
    ::pthread_sigmask(SIG_SETMASK, &mask, nullptr);
    test.expect(pipeSignals == 1, "and the thread's mask is put back");
    ::sigaction(SIGPIPE, &before, nullptr);
}

constexpr int writers = 4;
constexpr int linesPerWriter = 400;

/// One writer's lines are all of one letter, and their length goes with it.
std::size_t lineLength(char letter) {
    return 300 + 900 * static_cast<std::size_t>(letter - 'a');
}

struct Traffic {
    std::string received;
    std::atomic<int> written = 0;
    std::atomic<bool> asExpected = true;
};

/// Sends one writer's lines. The writer of the line with the number `closeAfter` closes the pipe.
void sendLines(AppServerRequestWriter& writer, char letter, int closeAfter, Traffic& traffic) {
    const std::string line = std::string(lineLength(letter), letter) + "\n";
    for (int sent = 0; sent < linesPerWriter;) {
        const auto result = writer.write(line);
        if (result.outcome == Outcome::written) {
            ++sent;
            if (++traffic.written != closeAfter) continue;
            writer.close();
            if (writer.write(line).outcome != Outcome::closed) traffic.asExpected = false;
        } else if (failedWith(result, EAGAIN)) {
            std::this_thread::yield();
        } else {
            if (result.outcome != Outcome::closed || closeAfter == 0) traffic.asExpected = false;
            return;
        }
    }
}

void exchange(int closeAfter, Traffic& traffic) {
    WriterAndReader pipe = makeWriter();
    std::thread reader([&] {
        std::array<char, 4096> buffer{};
        for (;;) {
            const auto count = RegularFileReader::read(pipe.readEnd, buffer);
            if (!count || *count == 0) return;
            traffic.received.append(buffer.data(), *count);
        }
    });
    std::vector<std::thread> threads;
    threads.reserve(writers);
    for (int index = 0; index < writers; ++index) {
        threads.emplace_back([&, letter = static_cast<char>('a' + index)] {
            sendLines(*pipe.writer, letter, closeAfter, traffic);
        });
    }
    for (std::thread& thread : threads) thread.join();
    pipe.writer->close();
    reader.join();
}

/// How many lines `text` is made of; -1 if one of them is not as it was sent.
int wholeLines(std::string_view text) {
    int lines = 0;
    for (; !text.empty(); ++lines) {
        const std::size_t end = text.find('\n');
        if (end == std::string_view::npos || end != lineLength(text[0])) return -1;
        if (text.find_first_not_of(text[0]) != end) return -1;
        text.remove_prefix(end + 1);
    }
    return lines;
}

void checkConcurrentWriters(SelfTest& test) {
    Traffic all;
    exchange(0, all);
    test.expect(all.asExpected && all.written == writers * linesPerWriter &&
                    wholeLines(all.received) == all.written,
                "请求写入必须保持完整行");
    Traffic some;
    exchange(100, some);
    test.expect(some.asExpected && some.written >= 100 && some.written < writers * linesPerWriter &&
                    wholeLines(some.received) == some.written,
                "并发关闭不应导致写入已关闭 fd 或接受后续请求");

    WriterAndReader pipe = makeWriter();
    const WriterAndReader other = makeWriter();
    pipe.writer->close();
    const FileDescriptor successor(::fcntl(other.writeNumber, F_DUPFD_CLOEXEC, pipe.writeNumber));
    pipe.writer->write("stray\n");
    pollfd entry{.fd = other.readEnd.number(), .events = POLLIN, .revents = 0};
    test.expect(successor.number() == pipe.writeNumber && ::poll(&entry, 1, 0) == 0,
                "a closed writer does not reach the next owner of its descriptor's number");
}

}  // namespace

bool ReaderIOSelfTest::run() {
    return SelfTest::run("reader IO",
                         {checkRegularFiles, checkCacheData, checkLocalAccess, checkRequestLimits,
                          checkClosedReader, checkConcurrentWriters});
}

}  // namespace vantry
