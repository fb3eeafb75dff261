#include <cerrno>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <future>
#include <sys/wait.h>
#include <unistd.h>
#include <variant>

#include "io/BoundedProcessRunner.h"
#include "io/ChildProcess.h"
#include "selftests/Suites.h"
#include "selftests/support/SelfTest.h"

namespace vantry {

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using Kind = BoundedProcessResult::Kind;

// Only the cases about time limits depend on their length; elsewhere it keeps a fault from hanging.
constexpr double generousTimeout = 10;
constexpr std::size_t smallLimit = 1'024;

constexpr std::string_view script = R"(#!/bin/sh
block=aaaaaaaaaaaaaaaabbbbbbbbbbbbbbbbccccccccccccccccdddddddddddddddd
blocks() { i=0; while [ $i -lt $1 ]; do printf '%s' "$block"; i=$((i + 1)); done; }
flood() { while :; do printf '%s' "$block"; done; }
case "$1" in
    normal) printf normal-output; printf normal-error >&2 ;;
    timeout) while :; do :; done ;;
    ignore-term) trap '' TERM; while :; do :; done ;;
    overflow) blocks 256 ;;
    exact) blocks 16 ;;
    dual-output)
        i=0
        while [ $i -lt 1024 ]; do
            printf '%s' "$block"; printf '%s' "$block" >&2; i=$((i + 1))
        done ;;
    nonzero) printf failed >&2; exit 7 ;;
    flood-ignore-term) trap '' TERM; flood ;;
    closes-output) exec >&- 2>&-; i=0; while [ $i -lt 2000 ]; do i=$((i + 1)); done; exit 3 ;;
    killed) kill -KILL $$ ;;
    echo) cat ;;
    variable) printf '%s ' "$HOME"; grep -zc '^HOME=' "/proc/$$/environ" ;;
    descriptor) if [ -e "/proc/$$/fd/$2" ]; then printf leaked; else printf clean; fi ;;
    signals)
        while read -r name value; do
            case "$name" in SigBlk: | SigIgn:) printf '%s' "$value" ;; esac
        done < /proc/$$/status ;;
esac
)";

struct Fixture {
    SelfTest& test;
    const TemporaryDirectory& directory;
    fs::path program;

    /// A request that no time limit should touch.
    BoundedProcessRunner::Request request(std::string scenario) const {
        return {.executableURL = program,
                .arguments = {std::move(scenario)},
                .timeout = generousTimeout,
                .maxOutputBytes = smallLimit,
                .terminationGrace = 0.15,
                .killGrace = 0.15};
    }

    BoundedProcessResult run(std::string scenario) const {
        return run(std::move(scenario), [](auto&) {});
    }
    /// Runs the request that `change` has changed.
    template <class Change>
    BoundedProcessResult run(std::string scenario, Change change) const {
        auto changed = request(std::move(scenario));
        change(changed);
        return BoundedProcessRunner::run(changed);
    }
};

struct Timed {
    BoundedProcessResult result;
    double seconds = 0;
};

Timed timed(const BoundedProcessRunner::Request& request) {
    const auto start = MonotonicClock::now();
    Timed run{.result = BoundedProcessRunner::run(request)};
    run.seconds = std::chrono::duration<double>(MonotonicClock::now() - start).count();
    return run;
}

std::string repeatedBlock(std::size_t count) {
    const auto start = script.find("block=") + 6;
    std::string text;
    while (count-- > 0) text += script.substr(start, 64);
    return text;
}

void checkOutcomes(const Fixture& with) {
    SelfTest& test = with.test;
    const BoundedProcessOutput both{.standardOutput = "normal-output",
                                    .standardError = "normal-error"};
    test.expect(with.run("normal") == BoundedProcessResult{.kind = Kind::success, .output = both},
                "正常输出未完整排空");

    const auto dual = with.run("dual-output", [](auto& r) { r.maxOutputBytes = 262'144; });
    test.expect(dual.kind == Kind::success && dual.output.standardOutput == repeatedBlock(1'024) &&
                    dual.output.standardError == repeatedBlock(1'024),
                "stdout/stderr 并发大输出未完整排空");

    const BoundedProcessResult failed{
        .kind = Kind::nonZeroExit, .exitCode = 7, .output = {.standardError = "failed"}};
    test.expect(with.run("nonzero") == failed, "非零退出信息不完整");
    const auto allowed = with.run("nonzero", [](auto& r) { r.allowedExitCodes = {0, 7}; });
    test.expect(allowed.kind == Kind::success && allowed.exitCode == 7,
                "允许的非零退出码未返回 success");

    const BoundedProcessResult killed = with.run("killed");
    test.expect(killed.kind == Kind::nonZeroExit && killed.exitCode == 128 + SIGKILL &&
                    with.run("closes-output").exitCode == 3,
                "a death by signal, and an end long after that of the output");

    const BoundedProcessResult absent{.kind = Kind::launchFailed,
                                      .message = "No such file or directory"};
    for (const fs::path& program : {with.directory.path() / "missing", fs::path("sh")}) {
        test.expect(with.run("", [&](auto& r) { r.executableURL = program; }) == absent,
                    "a missing program is a failed launch, and no search path is used");
    }
    test.expect(with.run(std::string("normal\0other", 12)).kind == Kind::launchFailed,
                "an argument is never cut at a NUL byte");
}

void checkOutputLimit(const Fixture& with) {
    SelfTest& test = with.test;
    const BoundedProcessResult over{.kind = Kind::outputLimitExceeded,
                                    .limit = smallLimit,
                                    .output = {.standardOutput = repeatedBlock(16)}};
    test.expect(with.run("overflow") == over, "超限结果未按上限截断");
    test.expect(with.run("exact").kind == Kind::success, "output of just the limit is legal");

    test.expect(with.run("flood-ignore-term").kind == Kind::outputLimitExceeded,
                "a flood that ignores SIGTERM is killed for its flood, before its time limit");
    const auto late = with.run("flood-ignore-term", [](auto& r) {
        r.timeout = 0.2;
        r.terminationGrace = 0.6;
    });
    test.expect(late.kind == Kind::timedOut && late.output.standardOutput == repeatedBlock(16),
                "a time-out outranks an overflow, and keeps the output from before it");
}

void checkTimeLimit(const Fixture& with) {
    SelfTest& test = with.test;
    auto request = with.request("");
    for (const char* scenario : {"timeout", "ignore-term"}) {
        request.arguments = {scenario};
        for (const double limit : {0.05, 0.0, -1.0, std::nan("")}) {
            request.timeout = request.terminationGrace = request.killGrace = limit;
            const Timed run = timed(request);
            test.expect(run.result.kind == Kind::timedOut && run.seconds < 0.75,
                        "超时进程未有界回收");
        }
    }
}

void checkCancellation(const Fixture& with) {
    auto request = with.request("ignore-term");
    request.cancellation = Cancellation::make();
    auto run = std::async(std::launch::async, timed, request);
    with.test.expect(run.wait_for(50ms) != std::future_status::ready, "it runs until then");
    request.cancellation.cancel();
    const Timed cancelled = run.get();
    with.test.expect(cancelled.result.kind == Kind::cancelled && cancelled.seconds < 1.5,
                     "a child that nobody wants any more is stopped");
    request.arguments = {"normal"};
    with.test.expect(
        BoundedProcessRunner::run(request) == BoundedProcessResult{.kind = Kind::cancelled},
        "and no other is started");
}

void checkInheritance(const Fixture& with) {
    SelfTest& test = with.test;
    test.expect(with.run("echo").output.standardOutput.empty(),
                "without an input the child reads the null device");
    const fs::path text = with.directory.write("input.txt", "some input");
    const auto printed = [&](const char* scenario, auto change) {
        return with.run(scenario, change).output.standardOutput;
    };
    const FileDescriptor input(::open(text.c_str(), O_RDONLY | O_CLOEXEC));
    test.expect(printed("echo", [&](auto& r) { r.standardInput = &input; }) == "some input",
                "the child reads the given descriptor");
    const auto elsewhere = [](auto& r) { r.environment = {{"HOME", "/elsewhere"}}; };
    test.expect(printed("variable", elsewhere) == "/elsewhere 1\n",
                "a variable replaces the inherited one");
    const FileDescriptor inheritable(::fcntl(input.number(), F_DUPFD, 50));
    const std::string copy = std::to_string(inheritable.number());
    test.expect(printed("descriptor", [&](auto& r) { r.arguments.push_back(copy); }) == "clean",
                "no descriptor of this process reaches the child");

    sigset_t blocked;
    sigset_t before;
    ::sigemptyset(&blocked);
    for (const int number : {SIGTERM, SIGPIPE}) ::sigaddset(&blocked, number);
    ::pthread_sigmask(SIG_BLOCK, &blocked, &before);
    const auto disposition = ::signal(SIGUSR2, SIG_IGN);
    const BoundedProcessResult signals = with.run("signals");
    ::signal(SIGUSR2, disposition);
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    // The C library ignores two signals of its own in a child, numbers 32 and 33.
    const std::string_view masks = signals.output.standardOutput;
    test.expect(masks.starts_with(std::string(16, '0')) && masks.ends_with(std::string(7, '0')),
                "the child blocks and ignores no signal");
}

std::ptrdiff_t openDescriptors() {
    return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
}

bool hasUnreapedChild() {
    siginfo_t info{};
    return ::waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT) == 0 && info.si_pid != 0;
}

void checkNothingStays(const Fixture& with) {
    const auto before = openDescriptors();
    for (int round = 0; round < 100; ++round) {
        with.run("nonzero");
        with.run("", [](auto& r) { r.executableURL = "/missing"; });
    }
    with.test.expect(openDescriptors() == before && !hasUnreapedChild(),
                     "200 runs leave no descriptor and no zombie");
}

void checkChildHandle(const Fixture& with) {
    SelfTest& test = with.test;
    auto started = ChildProcess::spawn({.executable = with.program, .arguments = {"timeout"}});
    auto* child = std::get_if<ChildProcess>(&started);
    if (!test.expect(child != nullptr, "the child starts")) return;
    test.expect(child->running() && !child->exitCode() && !child->waitForExit({}), "and runs");
    const pid_t pid = child->processIdentifier();
    child->terminate();
    test.expect(child->waitForExit(boundedDuration(generousTimeout)) &&
                    child->exitCode() == 128 + SIGTERM && ::kill(-pid, 0) == 0,
                "SIGTERM ends it, and the number of its group is not given to another");

    started = ChildProcess::spawn({.executable = with.program, .arguments = {"ignore-term"}});
    child = std::get_if<ChildProcess>(&started);
    const pid_t dropped = child != nullptr ? child->processIdentifier() : -1;
    started = LaunchFailure();
    test.expect(dropped > 0 && ::kill(dropped, 0) != 0 && errno == ESRCH && !hasUnreapedChild(),
                "a handle that goes takes its running child along");
}

}  // namespace

bool BoundedProcessRunnerSelfTest::run() {
    SelfTest test("bounded process");
    const TemporaryDirectory directory("vantry-bounded-process-test-");
    const fs::path program = directory.writeProgram("scenario.sh", script);
    const Fixture with{.test = test, .directory = directory, .program = program};
    checkOutcomes(with);
    checkOutputLimit(with);
    checkTimeLimit(with);
    checkCancellation(with);
    checkInheritance(with);
    checkNothingStays(with);
    checkChildHandle(with);
    return test.finish();
}

}  // namespace vantry
