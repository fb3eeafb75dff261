#pragma once

#include <string>
#include <string_view>

namespace vantry {

/// A shell script that answers every request of a read for one account, whose id is
/// "fixture-account". Shell functions in `changes` take the place of its own.
inline std::string codexScript(std::string_view changes = "") {
    return R"(#!/bin/sh
[ "$*" = app-server ] || exit 1
account() { echo '{"id":2,"result":{"account":{"type":"chatgpt","planType":"plus","email":"someone@example.invalid"}}}'; }
quota() { echo '{"id":'$1',"result":{"accountId":"fixture-account","rateLimits":{'\
'"primary":{"usedPercent":'${2:-23}',"windowDurationMins":300,"resetsAt":4102444800},'\
'"secondary":{"usedPercent":40.5,"windowDurationMins":10080,"resetsAt":4102444800},'\
'"credits":{"hasCredits":true,"unlimited":false,"balance":"12.50"}},'\
'"rateLimitResetCredits":{"availableCount":2}}}'; }
usage() { echo '{"id":4,"result":{"summary":{"lifetimeTokens":999},"dailyUsageBuckets":[]}}'; }
failure() { echo '{"id":'$1',"error":{"code":-32600,"message":"sign in first"}}'; }
finish() { :; }
on1() { echo '{"id":1,"result":{}}'; }
on2() { account; }
on3() { quota 3; }
on4() { usage; }
on5() { quota 5; finish; }
)" + std::string(changes) +
           R"(
while IFS= read -r line; do case "$line" in
*'"id":1,'*) on1;; *'"id":2,'*) on2;; *'"id":3,'*) on3;; *'"id":4,'*) on4;; *'"id":5,'*) on5;; esac; done
)";
}

}  // namespace vantry
