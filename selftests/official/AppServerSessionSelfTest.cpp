#include <chrono>

#include "official/AppServerSession.h"
#include "selftests/Suites.h"
#include "selftests/support/CodexScript.h"
#include "selftests/support/SelfTest.h"
#include "selftests/support/Words.h"

namespace vantry::AppServerSessionSelfTest {

using namespace CodexUsageReader;

namespace {

const Date now(1'800'000'000);
const char* const early = "app-server 提前结束";
const char* const timedOut = "app-server 响应超时";
const char* const flooded = "app-server 输出超出安全限制";

// What every codex here begins with.
const std::string common = R"(
spin() { while :; do sleep 0.05; done; }
on5() { quota 5 24; }
)";

class Fixture {
  public:
    explicit Fixture(SelfTest& test) : test_(test) {}

    AppServerRead read(const std::string& body, AppServerRequest request = {}) {
        request.executablePath = directory_.writeProgram("fake-codex", codexScript(common + body));
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
    const auto& window = read.snapshot.primary;
    return window ? std::optional(window->remainingPercent()) : std::nullopt;
}

// Of a read that failed nothing is kept but why.
bool failed(const AppServerRead& read, const char* message) {
    const AppServerSnapshot nothing{
        .readState = AppServerReadState::failed,
        .officialUsageReadStatus = OfficialUsageReadStatus::failed,
        .cloudDailyUsageAttempted = read.snapshot.cloudDailyUsageAttempted};
    return read.snapshot == nothing && wordsOf(read.messages) == std::vector<std::string>{message};
}

void checkConversation(SelfTest& test) {
    Fixture fixture(test);
    test.expect(remaining(fixture.read("on5() { printf '%s' \"$(quota 5 24)\"; exit 0; }")) == 76,
                "the end of the program does not lose its last reply");
    const AppServerRead noisy = fixture.read(R"(
echo 'no json'; echo '[]'; echo '{"method":"account/updated","params":{}}'; echo '{"id":"3","result":{}}'
echo '{"id":3,"method":"item/ask","params":{}}'; echo '{"id":3.5}'; echo
exec 2>&-
on1() { printf '%s' '{"id":1,'; sleep 0.05; echo '"result":{}}'; }
on5() { quota 5 $USED; })",
                                             {.environment = {{"USED", "24"}}});
    test.expect(remaining(noisy) == 76 && noisy.messages.empty(),
                "app-server stderr EOF 不应丢弃 stdout 的后续额度响应");
    std::vector<std::int64_t> seen;
    fixture.read("on2() { :; }\non4() { usage; account; }",
                 {.beforeParsingResponse = [&](std::int64_t id) { seen.push_back(id); }});
    test.expect(seen == std::vector<std::int64_t>{1, 3, 4, 2, 5},
                "every reply is announced once, and may come in any order");
    test.expect(
        remaining(fixture.read(R"((while :; do echo complaint >&2; sleep 0.001; done) & noise=$!
on5() { quota 5 24; kill $noise; })")) == 76,
        "app-server stderr 持续输出时仍应读到周额度");
}

void checkEndings(SelfTest& test) {
    Fixture fixture(test);
    using Case = std::tuple<std::string, AppServerRequest, const char*, bool>;
    const std::string many = "i=0; while [ $i -lt 20 ]; do i=$((i+1)); ";
    const std::string spin = "; done; spin";
    const Case cases[] = {
        {"exit 0", {}, early, true},
        {"exec 1>&-\nspin", {}, early, true},
        {"IFS= read -r line; exec 0<&-; on1; spin", {}, "app-server 请求写入失败", true},
        {"on5() { exec 1>&-; spin; }", {}, early, true},
        {"sleep 5 & exit 0", {}, timedOut, false},  // the grandchild holds the pipe
        {"on5() { :; }", {}, timedOut, false},
        {"trap '' TERM; spin", {}, timedOut, false},
        {"on3() { kill -STOP $$; }", {}, timedOut, false},
        {"printf 'x%.0s' $(seq 128); echo; spin", {.maxLineBytes = 127}, flooded, true},
        {"printf 'x%.0s' $(seq 128); spin", {.maxLineBytes = 127}, flooded, true},
        {many + "echo 1234567890123456" + spin, {.maxOutputBytes = 300}, flooded, true},
        {many + "echo 1234567890123456 >&2" + spin, {.maxOutputBytes = 300}, flooded, true},
        {many + "echo '{}'" + spin, {.maxLineCount = 10}, flooded, true},
        {many + "failure 99" + spin, {.maxMessageCount = 4}, flooded, true},
    };
    for (const auto& [body, request, message, isFast] : cases) {
        const AppServerRead read = fixture.read(body, request);
        test.expect(failed(read, message) && (!isFast || fixture.seconds < 1.2),
                    "app-server 异常输出应快速、有界失败: " + body);
    }
    const AppServerRead partial =
        fixture.read("on2() { account; failure 99; failure 99; failure 99; failure 99; spin; }",
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
                           "; spin) &\nuntil [ -e " + note + " ]; do sleep 0.01; done");
    test.expect(remaining(read) == 76 && !std::filesystem::exists(note), "the stop is polite");
    const AppServerRead none = readAppServer(
        {.search = {.homeDirectory = directory.path(), .systemRoot = directory.path()}});
    test.expect(wordsOf(none.messages) == std::vector<std::string>{"未找到 codex 可执行文件"},
                "no program");
}

}  // namespace

bool run() {
    return SelfTest::run("app-server session", {checkConversation, checkEndings, checkStop});
}

}  // namespace vantry::AppServerSessionSelfTest
