#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/RecordFields.h"

namespace vantry {

/// One quota window as the service reported it.
struct RateWindow {
    double usedPercent = 0;  ///< 0...100 from a parser; any value from elsewhere
    std::optional<std::int64_t> windowDurationMins;
    std::optional<Date> resetsAt;

    /// 0...100.
    double remainingPercent() const { return std::clamp(100.0 - usedPercent, 0.0, 100.0); }

    friend bool operator==(const RateWindow&, const RateWindow&) = default;
};

template <>
struct RecordFields<RateWindow> {
    static constexpr std::tuple list{
        field("usedPercent", &RateWindow::usedPercent),
        shownField<RateWindow>("remainingPercent",
                               [](const RateWindow& window) { return window.remainingPercent(); }),
        field("windowDurationMins", &RateWindow::windowDurationMins),
        field("resetsAt", &RateWindow::resetsAt)};
};

struct CreditsInfo {
    bool hasCredits = false;
    bool unlimited = false;
    std::optional<std::string> balance;        ///< the text that the service sent
    std::optional<std::int64_t> resetCredits;  ///< rate limit resets that the account holds

    friend bool operator==(const CreditsInfo&, const CreditsInfo&) = default;
};

template <>
struct RecordFields<CreditsInfo> {
    static constexpr std::tuple list{
        field("hasCredits", &CreditsInfo::hasCredits), field("unlimited", &CreditsInfo::unlimited),
        field("balance", &CreditsInfo::balance), field("resetCredits", &CreditsInfo::resetCredits)};
};

/// A limit beside the two windows that the plan is judged by: of a single model, or of another
/// length.
struct AccountLimit {
    std::string id;                   ///< the service's own
    std::optional<std::string> name;  ///< the service's words, which can be anything
    std::vector<RateWindow> windows;
    std::optional<std::string> rateLimitReachedType;
    std::optional<bool> spendControlReached;

    bool isReached() const { return rateLimitReachedType || spendControlReached.value_or(false); }

    friend bool operator==(const AccountLimit&, const AccountLimit&) = default;
};

template <>
struct RecordFields<AccountLimit> {
    static constexpr std::tuple list{
        field("id", &AccountLimit::id), field("name", &AccountLimit::name),
        field("windows", &AccountLimit::windows),
        field("rateLimitReachedType", &AccountLimit::rateLimitReachedType),
        field("spendControlReached", &AccountLimit::spendControlReached)};
};

/// Whatever else stops an account: absent is not known.
struct AccountLimits {
    std::vector<AccountLimit> otherLimits;  ///< by id
    std::optional<std::string>
        rateLimitReachedType;  ///< of the plan's own limit, as the service says
    std::optional<bool> spendControlReached;
    std::optional<bool> ordinaryUsageAllowed;  ///< false: the account is stopped

    friend bool operator==(const AccountLimits&, const AccountLimits&) = default;
};

template <>
struct RecordFields<AccountLimits> {
    static constexpr std::tuple list{
        field("otherLimits", &AccountLimits::otherLimits),
        field("rateLimitReachedType", &AccountLimits::rateLimitReachedType),
        field("spendControlReached", &AccountLimits::spendControlReached),
        field("ordinaryUsageAllowed", &AccountLimits::ordinaryUsageAllowed)};
};

/// What is kept of an account. Of its mail address only whether there was one.
struct AccountInfo {
    std::string type;
    std::optional<std::string> planType;
    bool emailPresent = false;

    friend bool operator==(const AccountInfo&, const AccountInfo&) = default;
};

template <>
struct RecordFields<AccountInfo> {
    static constexpr std::tuple list{field("type", &AccountInfo::type),
                                     field("planType", &AccountInfo::planType),
                                     field("emailPresent", &AccountInfo::emailPresent)};
};

}  // namespace vantry
