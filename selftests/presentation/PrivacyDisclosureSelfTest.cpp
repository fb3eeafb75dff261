#include "presentation/settings/PrivacyDisclosurePresentation.h"
#include "selftests/Suites.h"
#include "selftests/support/SelfTest.h"
#include "session/settings/PrivacyDisclosure.h"

namespace vantry {

bool PrivacyDisclosureSelfTest::run() {
    SelfTest test("privacy disclosure");
    constexpr const char* key = "Vantry.privacyDisclosureVersion";
    const TemporaryDirectory directory("vantry-privacy-");
    UserDefaults defaults(directory.path(), "test");
    test.expect(!PrivacyDisclosure::isAcknowledged(defaults), "nothing is acknowledged at first");
    for (const char* bad : {"0", "yes", "1.5", ""}) {
        defaults.setString(key, bad);
        test.expect(!PrivacyDisclosure::isAcknowledged(defaults), "no acknowledgement");
    }
    PrivacyDisclosure::acknowledge(defaults);
    test.expect(PrivacyDisclosure::isAcknowledged(defaults), "an acknowledgement stays");

    const MachineFacts offline{.documentsDirectory = "/usr/share/doc/vantry"};
    const MachineFacts online{.website = "https://example.invalid/"};
    const auto zh = privacyDisclosure(offline, WidgetLanguage::zh);
    const auto en = privacyDisclosure(online, WidgetLanguage::en);
    for (const char* part : {"线程标题或预览", "~/.codex/auth.json", "不会自动检查或下载更新"}) {
        test.expect(zh.message.find(part) != std::string::npos, std::string("it names ") + part);
    }
    test.expect(zh.title == "在读取 Codex 本机数据前" && zh.continueTitle == "了解并继续" &&
                    zh.policy.target == "/usr/share/doc/vantry/privacy.html",
                "without a website the installed page");
    test.expect(en.policy.target == "https://example.invalid/privacy/" &&
                    online.openSourceLicenseURL() == "https://example.invalid/license/" &&
                    en.message.find("https://example.invalid") != std::string::npos,
                "with one its pages, which the message names");
    return test.finish();
}

}  // namespace vantry
