#include <fmt/format.h>

#include "selftests/Suites.h"
#include "selftests/support/SelfTest.h"
#include "session/settings/MainWindowShortcut.h"

namespace vantry {

namespace {

using Shortcut = MainWindowShortcut;
using Refusal = MainWindowShortcutRefusal;

void checkCapture(SelfTest& test) {
    constexpr std::uint32_t escape = 0xff1b;
    constexpr std::uint32_t backSpace = 0xff08;
    struct Case {
        Shortcut::KeyPress press;
        MainWindowShortcutCaptureResult result;
        std::string label;
    };
    const std::uint32_t all =
        Shortcut::control | Shortcut::option | Shortcut::shift | Shortcut::command;
    const std::vector<Case> cases{
        {{escape, Shortcut::control}, Refusal::cancel, ""},
        {{backSpace, 0}, Refusal::clear, ""},
        {{0xffff, 0}, Refusal::clear, ""},
        {{'m', Shortcut::shift, "M"}, Refusal::invalid, ""},
        {{'q', Shortcut::command, "q"}, Refusal::reserved, ""},
        {{'Q', Shortcut::control, "Q"}, Refusal::reserved, ""},
        {{0xffe3, Shortcut::control}, Refusal::invalid, ""},  // Ctrl alone
        {{'M', all | 0x10, "m"}, Shortcut{'m', all, "M"}, "Ctrl+Alt+Shift+Super+M"},
        {{backSpace, Shortcut::command},
         Shortcut{backSpace, Shortcut::command, "Backspace"},
         "Super+Backspace"},
        {{0x20, Shortcut::option, " "}, Shortcut{0x20, Shortcut::option, "Space"}, "Alt+Space"},
        {{0xffc9, Shortcut::control}, Shortcut{0xffc9, Shortcut::control, "F12"}, "Ctrl+F12"},
        {{0xe9, Shortcut::control, "é"}, Shortcut{0xe9, Shortcut::control, "É"}, "Ctrl+É"}};
    for (const Case& c : cases) {
        const auto result = Shortcut::captureResult(c.press);
        const auto* shortcut = std::get_if<Shortcut>(&result);
        test.expect(
            result == c.result && (shortcut == nullptr || shortcut->displayLabel() == c.label),
            fmt::format("the press {:#x} with {:#x}", c.press.keyCode, c.press.modifierFlags));
    }
}

void checkStore(SelfTest& test) {
    constexpr const char* key = "Vantry.mainWindowShortcut";
    const TemporaryDirectory directory("vantry-shortcut-");
    UserDefaults defaults(directory.path(), "test");
    test.expect(!MainWindowShortcutStore::load(defaults), "none by default");
    const Shortcut shortcut{'m', Shortcut::option, "M"};
    MainWindowShortcutStore::save(shortcut, defaults);
    test.expect(MainWindowShortcutStore::load(defaults) == shortcut, "a shortcut comes back");
    for (const char* bad : {"{", R"({"keyCode":109,"carbonModifiers":0,"keyLabel":"M"})",
                            R"({"keyCode":-1,"carbonModifiers":8,"keyLabel":"M"})",
                            R"({"keyCode":113,"carbonModifiers":64,"keyLabel":"Q"})",
                            R"({"keyCode":109,"carbonModifiers":8})"}) {
        defaults.setString(key, bad);
        test.expect(!MainWindowShortcutStore::load(defaults), std::string("no shortcut is ") + bad);
    }
    MainWindowShortcutStore::save(std::nullopt, defaults);
    test.expect(!defaults.string(key), "clearing removes what is stored");
}

}  // namespace

bool MainWindowShortcutSelfTest::run() {
    return SelfTest::run("main window shortcut", {checkCapture, checkStore});
}

}  // namespace vantry
