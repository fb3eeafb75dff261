#include "presentation/settings/PrivacyDisclosurePresentation.h"

#include "presentation/words/PrivacyWords.h"

namespace vantry {

PrivacyDisclosurePresentation privacyDisclosure(const MachineFacts& machine,
                                                WidgetLanguage language) {
    const auto word = [&](const BilingualText& text) { return std::string(text.in(language)); };
    const std::string online = machine.website.empty()
                                   ? word(PrivacyWords::noWebsite)
                                   : inWords(PrivacyWords::website, language, machine.website);
    PrivacyDisclosurePresentation dialog{.title = word(PrivacyWords::title),
                                         .message = word(PrivacyWords::reads) + "\n\n" +
                                                    word(PrivacyWords::doesNot) + "\n\n" + online,
                                         .continueTitle = word(PrivacyWords::proceed),
                                         .policyTitle = word(PrivacyWords::policy),
                                         .quitTitle = word(PrivacyWords::quit)};
    dialog.proceed = {.kind = ActionKind::acknowledgeDisclosure, .title = dialog.continueTitle};
    dialog.policy = {.kind = ActionKind::openDocument,
                     .target = machine.privacyPolicyURL(),
                     .title = dialog.policyTitle};
    dialog.quit = {.kind = ActionKind::quit, .title = dialog.quitTitle};
    return dialog;
}

}  // namespace vantry
