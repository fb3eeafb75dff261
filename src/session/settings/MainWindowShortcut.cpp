#include "session/settings/MainWindowShortcut.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "platform/Text.h"

namespace vantry {

namespace {

constexpr std::uint32_t backSpace = 0xff08;
constexpr std::uint32_t escape = 0xff1b;
constexpr std::uint32_t deleteKey = 0xffff;
constexpr std::uint32_t space = 0x20;
constexpr std::uint32_t firstFunctionKey = 0xffbe;  // F1
constexpr std::uint32_t lastFunctionKey = 0xffd5;   // F24

constexpr std::array<std::pair<std::uint32_t, std::string_view>, 15> namedKeys{
    {{space, "Space"},
     {backSpace, "Backspace"},
     {0xff09, "Tab"},
     {0xff0d, "Return"},
     {deleteKey, "Delete"},
     {0xff50, "Home"},
     {0xff51, "Left"},
     {0xff52, "Up"},
     {0xff53, "Right"},
     {0xff54, "Down"},
     {0xff55, "Page Up"},
     {0xff56, "Page Down"},
     {0xff57, "End"},
     {0xff63, "Insert"},
     {0xff8d, "Enter"}}};

constexpr std::uint32_t heldModifiers = MainWindowShortcut::shift | MainWindowShortcut::control |
                                        MainWindowShortcut::option | MainWindowShortcut::command;

// The keysym of the letter, whichever case the press came with.
std::uint32_t lowerCase(std::uint32_t keyCode) {
    return keyCode >= 'A' && keyCode <= 'Z' ? keyCode + ('a' - 'A') : keyCode;
}

std::string labelOf(const MainWindowShortcut::KeyPress& press) {
    const auto named =
        std::ranges::find(namedKeys, press.keyCode, &decltype(namedKeys)::value_type::first);
    if (named != namedKeys.end()) return std::string(named->second);
    if (press.keyCode >= firstFunctionKey && press.keyCode <= lastFunctionKey) {
        return "F" + std::to_string(press.keyCode - firstFunctionKey + 1);
    }
    const bool isPrintable = !press.characters.empty() &&
                             validUtf8(press.characters) == press.characters &&
                             std::ranges::none_of(press.characters, [](char c) {
                                 const auto byte = static_cast<unsigned char>(c);
                                 return byte < 0x20 || byte == 0x7f;
                             });
    if (isPrintable) return uppercased(press.characters);
    const bool isLatin = press.keyCode > space && press.keyCode < 0x7f;
    if (isLatin) return uppercased(std::string(1, static_cast<char>(press.keyCode)));
    return {};
}

}  // namespace

std::string MainWindowShortcut::displayLabel() const {
    constexpr std::array<std::pair<std::uint32_t, std::string_view>, 4> names{
        {{control, "Ctrl"}, {option, "Alt"}, {shift, "Shift"}, {command, "Super"}}};
    std::string label;
    for (const auto& [bit, name] : names) {
        if ((carbonModifiers & bit) == 0) continue;
        label += name;
        label += '+';
    }
    return label + keyLabel;
}

MainWindowShortcutCaptureResult MainWindowShortcut::captureResult(const KeyPress& press) {
    const std::uint32_t modifiers = press.modifierFlags & heldModifiers;
    if (press.keyCode == escape) return MainWindowShortcutRefusal::cancel;
    if ((press.keyCode == backSpace || press.keyCode == deleteKey) && modifiers == 0) {
        return MainWindowShortcutRefusal::clear;
    }
    if ((modifiers & (command | control | option)) == 0) return MainWindowShortcutRefusal::invalid;
    const std::uint32_t key = lowerCase(press.keyCode);
    if (key == 'q' && (modifiers == command || modifiers == control))
        return MainWindowShortcutRefusal::reserved;
    std::string label = labelOf(press);
    if (label.empty()) return MainWindowShortcutRefusal::invalid;
    return MainWindowShortcut{
        .keyCode = key, .carbonModifiers = modifiers, .keyLabel = std::move(label)};
}

namespace MainWindowShortcutStore {

namespace {

constexpr const char* key = "Vantry.mainWindowShortcut";

}  // namespace

std::optional<MainWindowShortcut> load(const UserDefaults& defaults) {
    constexpr std::size_t longestLabel = 64;  // bytes
    const auto document = JsonDocument::parse(defaults.string(key).value_or(""));
    MainWindowShortcut shortcut;
    if (!document || !decode(document->root(), shortcut)) return std::nullopt;
    // What could not have been captured would be grabbed from every other program.
    const auto captured =
        MainWindowShortcut::captureResult({.keyCode = shortcut.keyCode,
                                           .modifierFlags = shortcut.carbonModifiers,
                                           .characters = shortcut.keyLabel});
    if (!std::holds_alternative<MainWindowShortcut>(captured)) return std::nullopt;
    if (shortcut.keyLabel.empty() || shortcut.keyLabel.size() > longestLabel) return std::nullopt;
    return shortcut;
}

void save(const std::optional<MainWindowShortcut>& shortcut, UserDefaults& defaults) {
    if (shortcut) {
        const auto text = writeJson(encode(*shortcut, RecordForm::stored), JsonLayout::compact);
        if (text) defaults.setString(key, *text);
    } else {
        defaults.remove(key);
    }
}

}  // namespace MainWindowShortcutStore

}  // namespace vantry
