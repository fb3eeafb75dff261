#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "official/AccountParsing.h"
#include "official/AppServerSnapshot.h"
#include "platform/JsonReader.h"

namespace vantry {

/// The conversation with `codex app-server`, without its transport: lines in, requests out.
///
/// A full read on the wire is `initialize` (id 1), then `initialized` and the quota (3), then the
/// account (2) and the usage (4), then the quota again (5). The usage request answers for whatever
/// account the program is on at that moment, so it stands between two quota readings that name
/// their account: a batch between two different ones is not used, and one that is not known to lie
/// between two readings of the same account belongs to nobody.
///
/// One thread at a time.
class AppServerConversation {
  public:
    /// Why a conversation ended before every answer had come.
    enum class Trouble { requestNotWritten, endedEarly, timedOut, outputExceeded };

    struct Settings {
        Date now;                            ///< stamped on the usage history
        std::set<int> requestedResponseIDs;  ///< of 2 (account), 3 (quota) and 4 (usage)
        int maxMessageCount = 0;             ///< error replies before it counts as a flood
        /// Called with a reply's id before anything is made of the reply; for tests.
        std::function<void(std::int64_t id)> beforeParsingResponse;
    };

    /// Hands one line with its newline to the transport; says what went wrong, if anything did.
    using Send = std::function<std::optional<Trouble>(std::string_view line)>;

    AppServerConversation(Settings settings, Send send);

    /// Sends the handshake.
    void begin();

    /// Takes one line without its newline. What is no reply to an open request changes nothing.
    void receive(std::string_view line);

    /// Ends the conversation; only the first trouble counts, and none does after the last answer.
    void end(Trouble trouble);

    /// Whether nothing more is expected: all answers have come, or trouble has.
    bool isOver() const;

    std::optional<Trouble> trouble() const { return trouble_; }

    /// What the conversation yielded.
    AppServerRead result() const;

  private:
    void send(std::optional<int> id, std::string_view line);
    void receiveHandshake();
    void receiveError(std::int64_t id, JsonView error);
    void receiveResult(int id, JsonView result);
    void receiveUsage(JsonView result);
    void finish(int id);
    std::optional<int> openRequest(std::int64_t id) const;
    void judgeAccount(AppServerRead& read) const;

    Settings settings_;
    Send send_;
    JsonParser parser_;
    std::set<int> expected_;
    std::set<int> sent_;
    std::set<int> completed_;
    bool sawHandshake_ = false;
    int errorCount_ = 0;
    std::optional<Trouble> trouble_;
    Notices messages_;
    std::optional<AccountInfo> account_;
    std::optional<CodexUsageReader::RateLimits> firstQuota_;
    std::optional<CodexUsageReader::RateLimits> finalQuota_;
    bool usageSucceeded_ = false;
    std::optional<std::int64_t> officialLifetimeTokens_;
    std::optional<std::vector<DailyTokenBucket>> cloudDailyBuckets_;
};

}  // namespace vantry
