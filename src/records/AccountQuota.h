#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>

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
