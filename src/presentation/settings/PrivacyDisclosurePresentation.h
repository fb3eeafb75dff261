#pragma once

#include <string>

#include "presentation/format/Action.h"
#include "session/settings/MachineFacts.h"

namespace vantry {

/// The dialog that stands before the first read. It stays open while the policy is looked at.
struct PrivacyDisclosurePresentation {
    std::string title;
    std::string message;  ///< paragraphs with an empty line between
    std::string continueTitle;
    std::string policyTitle;
    std::string quitTitle;
    Action proceed;
    Action policy;
    Action quit;

    friend bool operator==(const PrivacyDisclosurePresentation&,
                           const PrivacyDisclosurePresentation&) = default;
};

template <>
struct RecordFields<PrivacyDisclosurePresentation> {
    using Dialog = PrivacyDisclosurePresentation;
    static constexpr std::tuple list{field("title", &Dialog::title),
                                     field("message", &Dialog::message),
                                     field("continueTitle", &Dialog::continueTitle),
                                     field("policyTitle", &Dialog::policyTitle),
                                     field("quitTitle", &Dialog::quitTitle),
                                     field("proceed", &Dialog::proceed),
                                     field("policy", &Dialog::policy),
                                     field("quit", &Dialog::quit)};
};

PrivacyDisclosurePresentation privacyDisclosure(const MachineFacts& machine,
                                                WidgetLanguage language);

}  // namespace vantry
