
#include <fmt/format.h>

#include "official/AccountParsing.h"
#include "platform/Sha256.h"
#include "selftests/Suites.h"
#include "selftests/support/SelfTest.h"

namespace vantry::CodexUsageReader {

namespace {

RateLimits limitsOf(std::string_view json) {
    const auto document = JsonDocument::parse(json);
    return document ? parseRateLimits(document->root()) : RateLimits{};
}

/// "75 40 3": what is left of the two windows, and the resets, "-" for none.
std::string told(const RateLimits& limits) {
    std::string text;
    for (const auto& window : {limits.primary, limits.secondary}) {
        text += window ? fmt::format("{} ", window->remainingPercent()) : "- ";
    }
    const auto resets = limits.credits ? limits.credits->resetCredits : std::nullopt;
    return text + (resets ? std::to_string(*resets) : "-");
}

void checkWindows(SelfTest& test) {
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {R"({"rateLimits":{"primary":{"usedPercent":11,"windowDurationMins":10080,"resetsAt":1720000000},"secondary":null}})",
         "- 89 -", "单周窗口应写入 7d 槽位"},
        {R"({"rateLimits":{"primary":{"usedPercent":"25","windowDurationMins":300},"secondary":{"usedPercent":60,"windowDurationMins":10080}}})",
         "75 40 -", "旧双窗口响应应保留 5h/7d 映射"},
        {R"({"rateLimitsByLimitId":{"codex":{"primary":{"usedPercent":1,"windowDurationMins":300}}},"rateLimits":{"primary":{"usedPercent":2,"windowDurationMins":300}}})",
         "99 - -", "the limit of the name codex comes first"},
        {R"({"rateLimits":{"primary":{"usedPercent":1,"windowDurationMins":60},"secondary":{"usedPercent":1}}})",
         "- - -", "a window of another length fills no slot"},
        {R"({"rateLimits":{"primary":{"usedPercent":0,"windowDurationMins":300},"secondary":{"usedPercent":100,"windowDurationMins":10080}},"rateLimitResetCredits":{"availableCount":0}})",
         "100 0 0", "额度百分比 0/100 与重置次数 0 应保留为合法边界值"},
    };
    for (const auto& [json, expected, what] : cases) {
        test.expect(told(limitsOf(json)) == expected, what);
    }
    test.expect(limitsOf(std::get<0>(cases[0])).secondary->resetsAt == Date(1'720'000'000),
                "a window ends when the service says");
    for (const char* percent : {"-1", "101", "100.01", "\"abc\"", "true", "null", "1e400",
                                "\"inf\"", "\"nan\"", "123456789012345678901234567890"}) {
        const RateLimits limits = limitsOf(
            std::string(R"({"rateLimits":{"primary":{"usedPercent":)") + percent +
            R"(,"windowDurationMins":300},"secondary":{"usedPercent":10,"windowDurationMins":10080}},)"
            R"("rateLimitResetCredits":{"availableCount":3}})");
        test.expect(told(limits) == "- 90 3", "超出 0...100 的官方额度百分比应视为不可用");
    }
}

void checkOtherLimits(SelfTest& test) {
    const RateLimits read = limitsOf(
        R"({"ordinaryUsageAllowed":false,"rateLimitsByLimitId":{
            "spark":{"limitName":"Spark","primary":{"usedPercent":100,"windowDurationMins":300,"resetsAt":9},
                     "secondary":{"usedPercent":101},"rateLimitReachedType":"rate_limit_reached"},
            "empty":{"primary":null},"bad":7,
            "codex":{"primary":{"usedPercent":1,"windowDurationMins":300},
                     "secondary":{"usedPercent":2,"windowDurationMins":43200},"spendControlReached":true}}})");
    const RateWindow month{.usedPercent = 2, .windowDurationMins = 43'200};
    const RateWindow spark{.usedPercent = 100, .windowDurationMins = 300, .resetsAt = Date(9)};
    const AccountLimits expected{.otherLimits = {{.id = "codex", .windows = {month}},
                                                 {.id = "spark",
                                                  .name = "Spark",
                                                  .windows = {spark},
                                                  .rateLimitReachedType = "rate_limit_reached"}},
                                 .spendControlReached = true,
                                 .ordinaryUsageAllowed = false};
    test.expect(told(read) == "99 - -" && read.limits == expected,
                "every other limit is kept, and one bad value costs that value alone");
    std::string many = R"({"rateLimitsByLimitId":{)";
    for (int i = 0; i < 100; ++i) {
        many += fmt::format(R"({}"l{}":{{"primary":{{"usedPercent":1}}}})", i > 0 ? "," : "", i);
    }
    test.expect(limitsOf(many + "}}").limits.otherLimits.size() == 32, "but not without end");
}

void checkCredits(SelfTest& test) {
    using Case = std::tuple<const char*, std::optional<CreditsInfo>, const char*>;
    const auto withResets = [](std::optional<std::int64_t> resetCredits) {
        return CreditsInfo{.resetCredits = resetCredits};
    };
    const Case cases[] = {
        {R"({"rateLimits":{},"rateLimitResetCredits":{"availableCount":2}})", withResets(2),
         "官方剩余重置次数应读取 availableCount"},
        {R"({"rateLimits":{"rateLimitResetCredits":{"availableCount":4}},"rateLimitResetCredits":{"availableCount":2}})",
         withResets(4), "the limit's own reset credits come before those beside it"},
        {R"({"rateLimits":{"credits":{}},"rateLimitResetCredits":null})", withResets({}),
         "缺少官方剩余重置次数时不应伪造成 0"},
        {R"({"rateLimits":{"credits":{}},"rateLimitResetCredits":{"availableCount":-1}})",
         withResets({}), "负数官方剩余重置次数应视为不可用"},
        {R"({"rateLimits":{"rateLimitResetCredits":{"availableCount":true}}})", std::nullopt,
         "nothing usable makes no credits"},
        {R"({"rateLimits":{"credits":{"hasCredits":true,"unlimited":false,"balance":"12.50"}},"credits":{"balance":"9"}})",
         CreditsInfo{.hasCredits = true, .balance = "12.50"},
         "credits stand in the limit and keep the text of their balance"},
        {R"({"rateLimits":{},"credits":{"unlimited":true,"balance":7}})",
         CreditsInfo{.unlimited = true}, "credits at the top are found; a balance is a text"},
    };
    for (const auto& [json, expected, what] : cases) {
        test.expect(limitsOf(json).credits == expected, what);
    }
}

void checkAccount(SelfTest& test) {
    const RateLimits limits = limitsOf(R"({"accountId":"fixture-account-a"})");
    test.expect(
        limits.accountIdentity == "codex-account:" + sha256Hex("fixture-account-a") &&
            sha256Hex("abc") == "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad",
        "the identity is the hash of the account's id");
    test.expect(!limitsOf(R"({"accountId":""})").accountIdentity &&
                    !limitsOf(R"({"accountId":7})").accountIdentity,
                "an empty id or one that is no text gives no identity");

    const auto accountOf = [](std::string_view json) {
        const auto document = JsonDocument::parse(json);
        return parseAccount(document->root());
    };
    test.expect(accountOf(R"({"account":{"type":"chatgpt","planType":"Plus","email":"a@b"}})") ==
                    AccountInfo{.type = "chatgpt", .planType = "Plus", .emailPresent = true},
                "of a mail address only its presence is kept");
    test.expect(!accountOf(R"({"account":null})") && !accountOf(R"({"account":{"type":3}})"),
                "without a type there is no account");
}

}  // namespace

bool runRateLimitParsingSelfTest() {
    return SelfTest::run("rate limit parsing",
                         {checkWindows, checkOtherLimits, checkCredits, checkAccount});
}

}  // namespace vantry::CodexUsageReader
