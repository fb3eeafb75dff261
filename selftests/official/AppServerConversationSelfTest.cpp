#include <deque>
#include <fmt/format.h>

#include "official/AppServerConversation.h"
#include "selftests/Suites.h"
#include "selftests/support/SelfTest.h"
#include "selftests/support/Words.h"

namespace vantry::AppServerConversationSelfTest {

namespace {

using Trouble = AppServerConversation::Trouble;
const Date now(1'800'000'000);

using Replies = std::map<int, std::vector<std::string>>;

std::string quota(int id, const std::string& account, int usedPercent) {
    return R"({"id":)" + std::to_string(id) + R"(,"result":{"accountId":"fixture-account-)" +
           account + R"(","rateLimits":{"primary":{"usedPercent":)" + std::to_string(usedPercent) +
           R"(,"windowDurationMins":10080,"resetsAt":4102444800},"secondary":null}}})";
}

Replies goodReplies() {
    return {
        {1, {R"({"id":1,"result":{}})"}},
        {2, {R"({"id":2,"result":{"account":{"type":"chatgpt","planType":"pro","email":null}}})"}},
        {3, {quota(3, "a", 23)}},
        {4, {R"({"id":4,"result":{"summary":{"lifetimeTokens":999},"dailyUsageBuckets":[]}})"}},
        {5, {quota(5, "a", 24)}}};
}

/// What was said on both sides of a conversation whose other side answers each request with what
/// the replies hold for it, after the requests before it have been answered.
struct Talk {
    explicit Talk(const Replies& replies, const std::set<int>& requested = {2, 3, 4},
                  int maxMessageCount = 32) {
        std::deque<int> asked;
        AppServerConversation conversation(
            {.now = now, .requestedResponseIDs = requested, .maxMessageCount = maxMessageCount},
            [&](std::string_view line) {
                requests += line;
                const std::size_t at = line.find("\"id\":");
                if (at != std::string_view::npos) asked.push_back(line[at + 5] - '0');
                return std::optional<Trouble>();
            });
        conversation.begin();
        while (!asked.empty()) {
            const auto found = replies.find(asked.front());
            asked.pop_front();
            if (found == replies.end()) continue;
            for (const std::string& reply : found->second) conversation.receive(reply);
        }
        isOver = conversation.isOver();
        read = conversation.result();
    }

    std::optional<double> remaining() const {
        const auto& window = read.snapshot.secondary;
        return window ? std::optional(window->remainingPercent()) : std::nullopt;
    }
    /// "76 used named: ...": what remains, whether the usage and the account's name are there, and
    /// the messages.
    std::string told() const {
        const AppServerSnapshot& s = read.snapshot;
        std::string text =
            fmt::format("{}{}{}", remaining().value_or(-1), s.cloudDailyBuckets ? " used" : "",
                        s.accountIdentity ? " named" : "");
        for (const std::string& words : wordsOf(read.messages)) text += ": " + words;
        return text;
    }
    /// What else than why nothing was kept is not there.
    bool isEmpty(AppServerReadState state, bool metTwoAccounts) const {
        return read.snapshot ==
               AppServerSnapshot{
                   .readState = state,
                   .metTwoAccounts = metTwoAccounts,
                   .officialUsageReadStatus = OfficialUsageReadStatus::failed,
                   .cloudDailyUsageAttempted = read.snapshot.cloudDailyUsageAttempted};
    }

    std::string requests;
    bool isOver = false;
    AppServerRead read;
};

Replies replacing(int id, std::vector<std::string> with) {
    Replies replies = goodReplies();
    replies[id] = std::move(with);
    return replies;
}

void checkRequests(SelfTest& test) {
    const std::string hello =
        R"({"id":1,"method":"initialize","params":{"clientInfo":{"name":"vantry","title":"Vantry","version":"0.1.1"},"capabilities":{"experimentalApi":true,"optOutNotificationMethods":[]}}})"
        "\n"
        R"({"method":"initialized"})"
        "\n";
    const auto request = [](const std::string& members) { return "{" + members + "}\n"; };
    const std::string account =
        request(R"("id":2,"method":"account/read","params":{"refreshToken":false})");
    const std::string first = request(R"("id":3,"method":"account/rateLimits/read")");
    const std::string usage = request(R"("id":4,"method":"account/usage/read")");
    const std::string last = request(R"("id":5,"method":"account/rateLimits/read")");
    test.expect(Talk(goodReplies()).requests == hello + first + account + usage + last,
                "a full read");
    const Talk quotaOnly(goodReplies(), {2, 3});
    const AppServerSnapshot& retried = quotaOnly.read.snapshot;
    test.expect(quotaOnly.requests == hello + first + account + last && retried.account &&
                    quotaOnly.remaining() == 76 && !retried.cloudDailyUsageAttempted &&
                    retried.officialUsageReadStatus == OfficialUsageReadStatus::notAttempted,
                "额度重试应读取账号身份与额度，但不请求官方用量历史");
    const Talk alone(goodReplies(), {2});
    test.expect(alone.requests == hello + account && alone.isOver && alone.read.snapshot.account &&
                    alone.read.snapshot.readState == AppServerReadState::responded,
                "a read of the account alone");
    const Talk twice(replacing(1, {goodReplies()[1][0], goodReplies()[1][0]}));
    test.expect(twice.requests == hello + first + account + usage + last, "one handshake");
}

void checkAnswers(SelfTest& test) {
    const std::string error = R"(,"error":{"code":-32600,"message":"failure"}})";
    const std::tuple<const char*, Replies, std::string> cases[] = {
        {"matching accounts", goodReplies(), "76 used named"},
        {"a failed usage request keeps the quota", replacing(4, {"{\"id\":4" + error}),
         "76 named: app-server 4: failure"},
        {"a result that is no object is no answer", replacing(4, {R"({"id":4,"result":[1]})"}),
         "76 named"},
        {"a missing identity is no evidence of a change, and confirms nothing",
         replacing(5, {R"({"id":5,"result":{"rateLimits":{}}})"}), "77 used"},
        {"neither is a final quota that failed", replacing(5, {"{\"id\":5" + error}),
         "77 used: app-server 5: failure"},
        {"replies under ids that were not asked for, or again, change nothing",
         {{1, {quota(5, "unrequested", 1), quota(3, "unrequested", 1), goodReplies()[1][0]}},
          {2, goodReplies()[2]},
          {3,
           {R"({"id":3,"method":"item/ask","params":{}})", quota(3, "a", 23),
            quota(3, "duplicate", 1)}},
          {4, goodReplies()[4]},
          {5,
           {quota(3, "duplicate", 1), R"({"id":"5","result":{}})", quota(5, "a", 24),
            quota(5, "duplicate", 1)}}},
         "76 used named"},
        {"a null method makes no request of a reply",
         replacing(3, {R"({"method":null,)" + quota(3, "a", 23).substr(1)}), "76 used named"},
    };
    for (const auto& [what, replies, told] : cases) {
        const Talk talk(replies);
        const bool isUsed = talk.read.snapshot.cloudDailyBuckets.has_value();
        test.expect(
            talk.isOver && talk.told() == told && talk.read.snapshot.account &&
                talk.read.snapshot.readState == AppServerReadState::responded &&
                talk.read.snapshot.officialUsageReadStatus ==
                    (isUsed ? OfficialUsageReadStatus::succeeded : OfficialUsageReadStatus::failed),
            what);
    }
}

void checkUsage(SelfTest& test) {
    const AppServerSnapshot full = Talk(goodReplies()).read.snapshot;
    test.expect(full.officialLifetimeTokens == 999 && full.officialLifetimeCapturedAt == now &&
                    full.cloudDailyBuckets && full.cloudDailyUsageCapturedAt == now &&
                    full.cloudDailyUsageAttempted &&
                    !Talk(replacing(3, {})).read.snapshot.cloudDailyUsageAttempted,
                "the usage is stamped with the time of the read");
    const Talk damaged(replacing(
        4, {R"({"id":4,"result":{"summary":{"lifetimeTokens":-1},"dailyUsageBuckets":[1]}})"}));
    const AppServerSnapshot& none = damaged.read.snapshot;
    test.expect(damaged.told() ==
                        "76 named: Codex 官方历史累计格式异常，未采用该值"
                        ": Codex 官方日统计格式异常，未采用该批数据" &&
                    !none.officialLifetimeTokens && !none.officialLifetimeCapturedAt &&
                    !none.cloudDailyUsageCapturedAt &&
                    none.officialUsageReadStatus == OfficialUsageReadStatus::succeeded,
                "a damaged usage is an answer without figures");
}

void checkRefusals(SelfTest& test) {
    for (const std::set<int>& requested : {std::set{2, 3, 4}, std::set{2, 3}}) {
        const Talk talk(replacing(5, {quota(5, "b", 24)}), requested);
        test.expect(talk.isEmpty(AppServerReadState::responded, true) &&
                        talk.told() == "-1: Codex 账号在读取期间发生变化，未采用该批官方数据",
                    "官方读取应校验前后账号身份，拒绝串号且不受响应顺序影响");
    }
    Replies signedOut = goodReplies();
    signedOut[2] = {R"({"id":2,"result":{"account":null}})"};
    signedOut[3] = {R"({"id":3,"error":{"message":"failure"}})"};
    signedOut[4] = {R"({"error":{"message":")" + std::string(300, '0') + R"("},"id":4})"};
    signedOut[5] = {R"({"id":5,"error":{}})"};
    const Talk refused(signedOut);
    test.expect(
        refused.isEmpty(AppServerReadState::failed, false) &&
            refused.told() == "-1: app-server 3: failure: app-server 4: " + std::string(240, '0') +
                                  ": app-server 5: 未知错误: app-server 返回错误",
        "an account that is not signed in is an answer, not a crash and not a zero");
    test.expect(Talk(signedOut, {2, 3, 4}, 3).read.messages.size() == 4 &&
                    Talk(signedOut, {2, 3, 4}, 2).read.messages.back().kind ==
                        NoticeKind::appServerOutputExceeded,
                "as many errors as are allowed");
    Replies open = goodReplies();
    open.erase(4);
    const Talk waiting(open);
    test.expect(!waiting.isOver, "a conversation waits for all of its answers");
}

}  // namespace

bool run() {
    return SelfTest::run("app-server conversation",
                         {checkRequests, checkAnswers, checkUsage, checkRefusals});
}

}  // namespace vantry::AppServerConversationSelfTest
