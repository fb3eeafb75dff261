#include <chrono>

#include "official/AppServerSession.h"
#include "selftests/Suites.h"
#include "selftests/support/SelfTest.h"
#include "selftests/support/Words.h"

namespace vantry::AppServerSessionSelfTest {

using namespace CodexUsageReader;

namespace {

const Date now(1'800'000'000);
const char* const early = "app-server 提前结束";
const char* const timedOut = "app-server 响应超时";
const char* const flooded = "app-server 输出超出安全限制";

// Shell functions for the answers, and a loop that gives them to the requests.
const std::string answers = R"(#!/bin/sh
hello() { echo '{"id":1,"result":{}}'; }
account() { echo '{"id":2,"result":{"account":{"type":"chatgpt","planType":"pro","email":null}}}'; }
quota() { echo '{"id":'$1',"result":{"accountId":"fixture-account-'$2'","rateLimits":{"primary":{"usedPercent":'$3',"windowDurationMins":10080,"resetsAt":4102444800},"secondary":null}}}'; }
usage() { echo '{"id":4,"result":{"summary":{"lifetimeTokens":999},"dailyUsageBuckets":[{"startDate":"2026-01-01","tokens":100}]}}'; }
failure() { echo '{"id":'$1',"error":{"code":-32600,"message":"failure"}}'; }
spin() { while :; do sleep 0.05; done; }
serve() { while IFS= read -r line; do case "$line" in
*'"id":1,'*) on1;; *'"id":2,'*) on2;; *'"id":3,'*) on3;; *'"id":4,'*) on4;; *'"id":5,'*) on5;; esac; done; }
on1() { hello; }
on2() { account; }
on3() { quota 3 a 23; }
on4() { usage; }
on5() { quota 5 a 24; }
)";

class Fixture {
  public:
    explicit Fixture(SelfTest& test) : test_(test) {}

    AppServerRead read(const std::string& body, AppServerRequest request = {}) {
        request.executablePath = directory_.writeProgram("fake-codex", answers + body);
        request.responseTimeout = 1.5;
        request.now = now;
        const auto start = std::chrono::steady_clock::now();
        AppServerRead result = readAppServer(request);
        seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        test_.expect(seconds < 2.2, "app-server 异常输出应快速、有界失败: " + body);
        return result;
    }

    double seconds = 0;  ///< of the last read

  private:
    SelfTest& test_;
    TemporaryDirectory directory_{"vantry-app-server-"};
};

std::optional<double> remaining(const AppServerRead& read) {
    const auto& window = read.snapshot.secondary;
    return window ? std::optional(window->remainingPercent()) : std::nullopt;
}

bool isEmptyBatch(const AppServerRead& read) {
    const AppServerSnapshot& s = read.snapshot;
    return !s.account && !s.accountIdentity && !s.primary && !s.secondary && !s.credits &&
           !s.officialLifetimeTokens && !s.cloudDailyBuckets;
}

void checkConversation(SelfTest& test) {
    Fixture fixture(test);
    test.expect(
        remaining(fixture.read("on5() { printf '%s' \"$(quota 5 a 24)\"; exit 0; }\nserve")) == 76,
        "the end of the program does not lose its last reply");
    const AppServerRead noisy = fixture.read(R"(
echo 'no json'; echo '[]'; echo '{"method":"account/updated","params":{}}'; echo '{"id":"3","result":{}}'
echo '{"id":3,"method":"item/ask","params":{}}'; echo '{"id":3.5}'; echo
exec 2>&-
on1() { printf '%s' '{"id":1,'; sleep 0.05; echo '"result":{}}'; }
on5() { quota 5 a $USED; }
serve)",
                                             {.environment = {{"USED", "24"}}});
    test.expect(remaining(noisy) == 76 && noisy.messages.empty(),
                "app-server stderr EOF 不应丢弃 stdout 的后续额度响应");
    std::vector<std::int64_t> seen;
    fixture.read("on2() { :; }\non4() { usage; account; }\nserve",
                 {.beforeParsingResponse = [&](std::int64_t id) { seen.push_back(id); }});
    test.expect(seen == std::vector<std::int64_t>{1, 3, 4, 2, 5},
                "every reply is announced once, and may come in any order");
    test.expect(
        remaining(fixture.read(R"((while :; do echo complaint >&2; sleep 0.001; done) & noise=$!
on5() { quota 5 a 24; kill $noise; }
serve)")) == 76,
        "app-server stderr 持续输出时仍应读到周额度");
}

void checkEndings(SelfTest& test) {
    Fixture fixture(test);
    using Case = std::tuple<const char*, const char*, bool, const char*>;
    const Case cases[] = {
        {"exit 0", early, true, "app-server 提前退出应立即结束待处理响应"},
        {"exec 1>&-\nspin", early, true, "app-server stdout EOF 应立即结束待处理响应"},
        {"IFS= read -r line; exec 0<&-; hello; spin", "app-server 请求写入失败", true,
         "app-server 提前关闭输入时应有界失败，不应崩溃或采用不完整响应"},
        {"on5() { exec 1>&-; spin; }\nserve", early, true, "an end before the final quota"},
        {"sleep 5 & exit 0", timedOut, false, "a grandchild that holds the pipe"},
        {"on5() { :; }\nserve", timedOut, false,
         "without its final quota a read that ran out of time keeps nothing"},
        {"trap '' TERM; spin", timedOut, false, "a program that ignores the polite stop"},
        {"on3() { kill -STOP $$; }\nserve", timedOut, false, "a program that stands still"},
    };
    for (const auto& [body, message, isFast, what] : cases) {
        const AppServerRead read = fixture.read(body);
        test.expect(wordsOf(read.messages) == std::vector<std::string>{message} &&
                        read.snapshot.readState == AppServerReadState::failed &&
                        read.snapshot.officialUsageReadStatus == OfficialUsageReadStatus::failed &&
                        isEmptyBatch(read) && (!isFast || fixture.seconds < 1.2),
                    what);
    }
}

void checkFloods(SelfTest& test) {
    Fixture fixture(test);
    using Case = std::pair<const char*, AppServerRequest>;
    const std::string lines = "i=0; while [ $i -lt 20 ]; do i=$((i+1)); ";
    const Case cases[] = {
        {"printf 'x%.0s' $(seq 128); echo; spin", {.maxLineBytes = 127}},
        {"printf 'x%.0s' $(seq 128); spin", {.maxLineBytes = 127}},
        {"flood() { echo 1234567890123456; }\nmany; spin", {.maxOutputBytes = 300}},
        {"flood() { echo 1234567890123456 >&2; }\nmany; spin", {.maxOutputBytes = 300}},
        {"flood() { echo '{}'; }\nmany; spin", {.maxLineCount = 10}},
        {"flood() { failure 99; }\nmany; spin", {.maxMessageCount = 4}},
    };
    const std::string many = "many() { " + lines + "flood; done; }\n";
    for (const auto& [body, request] : cases) {
        const AppServerRead read = fixture.read(many + body, request);
        test.expect(
            wordsOf(read.messages) == std::vector<std::string>{flooded} && isEmptyBatch(read) &&
                read.snapshot.readState == AppServerReadState::failed && fixture.seconds < 1.2,
            std::string("app-server 异常输出应快速、有界失败: ") + body);
    }
    const AppServerRead partial = fixture.read(
        "on2() { account; failure 99; failure 99; failure 99; failure 99; spin; }\nserve",
        {.maxMessageCount = 3});
    test.expect(remaining(partial) == 77 && !partial.snapshot.accountIdentity &&
                    !partial.snapshot.account &&
                    partial.snapshot.readState == AppServerReadState::failed &&
                    wordsOf(partial.messages) == std::vector<std::string>{flooded},
                "a flood after the first quota keeps the quota, without an identity");
}

// What a wrapper started is asked to go before it is made to, also when the wrapper is gone.
void checkStop(SelfTest& test) {
    const TemporaryDirectory directory("vantry-app-server-");
    const std::string note = directory.path() / "runs";
    const AppServerRead read =
        Fixture(test).read("(trap 'sleep 0.05; rm " + note + "; exit' TERM; : > " + note +
                           "; spin) &\nuntil [ -e " + note + " ]; do sleep 0.01; done\nserve");
    test.expect(remaining(read) == 76 && !std::filesystem::exists(note), "the stop is polite");
    const AppServerRead none = readAppServer(
        {.search = {.homeDirectory = directory.path(), .systemRoot = directory.path()}});
    test.expect(wordsOf(none.messages) == std::vector<std::string>{"未找到 codex 可执行文件"},
                "no program");
}

}  // namespace

bool run() {
    return SelfTest::run("app-server session",
                         {checkConversation, checkEndings, checkFloods, checkStop});
}

}  // namespace vantry::AppServerSessionSelfTest
