#include "official/AppServerConversation.h"

#include <algorithm>
#include <fmt/format.h>

#include "official/OfficialDailyUsageParsing.h"
#include "platform/Application.h"
#include "platform/JsonWriter.h"
#include "platform/Text.h"

namespace vantry {

namespace {

constexpr int accountID = 2;
constexpr int quotaID = 3;
constexpr int usageID = 4;
constexpr int finalQuotaID = 5;

constexpr std::size_t errorTextLimit = 240;  // characters of an error reply that are shown

NoticeKind noticeOf(AppServerConversation::Trouble trouble) {
    switch (trouble) {
        case AppServerConversation::Trouble::requestNotWritten:
            return NoticeKind::appServerRequestNotWritten;
        case AppServerConversation::Trouble::endedEarly:
            return NoticeKind::appServerEndedEarly;
        case AppServerConversation::Trouble::timedOut:
            return NoticeKind::appServerTimedOut;
        case AppServerConversation::Trouble::outputExceeded:
            break;
    }
    return NoticeKind::appServerOutputExceeded;
}

std::string initializeLine() {
    return fmt::format(
        R"({{"id":1,"method":"initialize","params":{{"clientInfo":{{"name":"vantry","title":{},"version":{}}},"capabilities":{{"experimentalApi":true,"optOutNotificationMethods":[]}}}}}})"
        "\n",
        writeJson(application::displayName, JsonLayout::compact).value_or("\"\""),
        writeJson(application::version, JsonLayout::compact).value_or("\"\""));
}

std::string_view requestLine(int id) {
    switch (id) {
        case accountID:
            return "{\"id\":2,\"method\":\"account/read\",\"params\":{\"refreshToken\":false}}\n";
        case quotaID:
            return "{\"id\":3,\"method\":\"account/rateLimits/read\"}\n";
        case usageID:
            return "{\"id\":4,\"method\":\"account/usage/read\"}\n";
        default:
            return "{\"id\":5,\"method\":\"account/rateLimits/read\"}\n";
    }
}

// The answers to wait for: the quota is always bracketed, and never read without the account.
std::set<int> expectedIDs(const std::set<int>& requested) {
    std::set<int> expected;
    for (const int id : {accountID, quotaID, usageID}) {
        if (requested.contains(id)) expected.insert(id);
    }
    if (expected.contains(quotaID) || expected.contains(usageID)) {
        expected.insert({accountID, quotaID, finalQuotaID});
    }
    return expected;
}

}  // namespace

AppServerConversation::AppServerConversation(Settings settings, Send send)
    : settings_(std::move(settings)),
      send_(std::move(send)),
      expected_(expectedIDs(settings_.requestedResponseIDs)) {}

void AppServerConversation::begin() {
    send(std::nullopt, initializeLine());
}

bool AppServerConversation::isOver() const {
    return trouble_ || std::ranges::includes(completed_, expected_);
}

std::optional<int> AppServerConversation::openRequest(std::int64_t id) const {
    const auto found = std::ranges::find(sent_, id);
    if (found == sent_.end() || completed_.contains(*found)) return std::nullopt;
    return *found;
}

void AppServerConversation::end(Trouble trouble) {
    if (isOver()) return;
    trouble_ = trouble;
    messages_.push_back({noticeOf(trouble)});
}

void AppServerConversation::send(std::optional<int> id, std::string_view line) {
    if (trouble_) return;
    if (id) sent_.insert(*id);
    if (const auto trouble = send_(line)) end(*trouble);
}

void AppServerConversation::receive(std::string_view line) {
    if (isOver()) return;
    const auto message = parser_.parse(line);
    if (!message || !message->isObject()) return;
    const auto id = (*message)["id"].integer();
    // The program's own requests carry ids of its own, which are not ours.
    if (!id || (*message)["method"].text()) return;
    if (settings_.beforeParsingResponse) settings_.beforeParsingResponse(*id);
    if (*id == 1) return receiveHandshake();
    const JsonView error = (*message)["error"];
    if (error.isObject()) return receiveError(*id, error);
    if (const auto open = openRequest(*id)) receiveResult(*open, (*message)["result"]);
}

void AppServerConversation::receiveHandshake() {
    if (sawHandshake_) return;
    sawHandshake_ = true;
    send(std::nullopt, "{\"method\":\"initialized\"}\n");
    if (expected_.contains(accountID) && !expected_.contains(finalQuotaID)) {
        send(accountID, requestLine(accountID));
    }
    if (expected_.contains(quotaID)) send(quotaID, requestLine(quotaID));
}

// Every error reply counts against a flood; only one to an open request is an answer and is shown.
void AppServerConversation::receiveError(std::int64_t id, JsonView error) {
    if (errorCount_ >= settings_.maxMessageCount) return end(Trouble::outputExceeded);
    ++errorCount_;
    const auto open = openRequest(id);
    if (!open) return;
    Notice notice{.kind = NoticeKind::appServerRefusedRequest, .count = id};
    if (const auto text = error["message"].text()) {
        notice.quoted = firstCharacters(*text, errorTextLimit);
    }
    messages_.push_back(std::move(notice));
    finish(*open);
}

void AppServerConversation::receiveResult(int id, JsonView result) {
    if (result.isObject()) {
        if (id == accountID) account_ = CodexUsageReader::parseAccount(result);
        if (id == quotaID) firstQuota_ = CodexUsageReader::parseRateLimits(result);
        if (id == usageID) receiveUsage(result);
        if (id == finalQuotaID) finalQuota_ = CodexUsageReader::parseRateLimits(result);
    }
    finish(id);
}

void AppServerConversation::receiveUsage(JsonView result) {
    usageSucceeded_ = true;
    officialLifetimeTokens_ = CodexUsageReader::parseOfficialLifetimeTokens(result, messages_);
    cloudDailyBuckets_ = CodexUsageReader::parseCloudDailyBuckets(
        {.result = result, .now = settings_.now, .messages = messages_});
}

void AppServerConversation::finish(int id) {
    completed_.insert(id);
    if (!expected_.contains(finalQuotaID)) return;
    if (id == quotaID) {
        send(accountID, requestLine(accountID));
        if (expected_.contains(usageID)) send(usageID, requestLine(usageID));
        return;
    }
    const bool batchIsIn = completed_.contains(accountID) &&
                           (completed_.contains(usageID) || !expected_.contains(usageID));
    if (batchIsIn && !sent_.contains(finalQuotaID)) send(finalQuotaID, requestLine(finalQuotaID));
}

AppServerRead AppServerConversation::result() const {
    AppServerRead read{.snapshot = {}, .messages = messages_};
    AppServerSnapshot& snapshot = read.snapshot;
    const bool responded = !trouble_ && (firstQuota_ || !expected_.contains(quotaID));
    snapshot.readState = responded ? AppServerReadState::responded : AppServerReadState::failed;
    if (!responded && !trouble_) read.messages.push_back({NoticeKind::appServerRefused});
    snapshot.cloudDailyUsageAttempted = sent_.contains(usageID);
    if (expected_.contains(usageID)) {
        snapshot.officialUsageReadStatus = usageSucceeded_ && !trouble_
                                               ? OfficialUsageReadStatus::succeeded
                                               : OfficialUsageReadStatus::failed;
    }
    // What was cut off before its final quota is not proved to be of one account, a usage history
    // that has come included. Only a flood leaves the first quota, without an identity.
    if (trouble_ && trouble_ != Trouble::outputExceeded) return read;
    if (!trouble_) {
        snapshot.account = account_;
        snapshot.officialLifetimeTokens = officialLifetimeTokens_;
        if (officialLifetimeTokens_) snapshot.officialLifetimeCapturedAt = settings_.now;
        snapshot.cloudDailyBuckets = cloudDailyBuckets_;
        if (cloudDailyBuckets_) snapshot.cloudDailyUsageCapturedAt = settings_.now;
    }
    if (firstQuota_) {
        snapshot.primary = firstQuota_->primary;
        snapshot.secondary = firstQuota_->secondary;
        snapshot.credits = firstQuota_->credits;
        snapshot.limits = firstQuota_->limits;
    }
    judgeAccount(read);
    return read;
}

void AppServerConversation::judgeAccount(AppServerRead& read) const {
    if (!firstQuota_ || !finalQuota_) return;
    const auto& before = firstQuota_->accountIdentity;
    const auto& after = finalQuota_->accountIdentity;
    // An identity that is missing on one side is no evidence of a change.
    if (!before || !after) return;
    if (*before != *after) {
        read.messages.push_back({NoticeKind::accountChanged});
        read.snapshot = {.readState = read.snapshot.readState,
                         .metTwoAccounts = true,
                         .officialUsageReadStatus = OfficialUsageReadStatus::failed,
                         .cloudDailyUsageAttempted = read.snapshot.cloudDailyUsageAttempted};
        return;
    }
    read.snapshot.accountIdentity = before;
    read.snapshot.primary = finalQuota_->primary;
    read.snapshot.secondary = finalQuota_->secondary;
    read.snapshot.credits = finalQuota_->credits;
    read.snapshot.limits = finalQuota_->limits;
}

}  // namespace vantry
