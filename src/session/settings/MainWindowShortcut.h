#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>

#include "platform/RecordFields.h"
#include "platform/UserDefaults.h"

namespace vantry {

/// What a press is that is no shortcut: Escape, a deletion, or one that cannot be taken.
enum class MainWindowShortcutRefusal : std::uint8_t { cancel, clear, invalid, reserved };

/// A system-wide key for the main window. Key codes are X keysyms, modifiers the bits of the X
/// modifier mask. Command is Super here, and Option is Alt.
struct MainWindowShortcut {
    static constexpr std::uint32_t shift = 0x1;
    static constexpr std::uint32_t control = 0x4;
    static constexpr std::uint32_t option = 0x8;    ///< Alt, Mod1
    static constexpr std::uint32_t command = 0x40;  ///< Super, Mod4

    std::uint32_t keyCode = 0;
    std::uint32_t carbonModifiers = 0;
    std::string keyLabel;

    /// "Ctrl+Alt+Shift+Super+M".
    std::string displayLabel() const;

    struct KeyPress {
        std::uint32_t keyCode = 0;
        std::uint32_t modifierFlags = 0;  ///< bits other than the four above are not looked at
        std::string characters = {};      ///< what the key writes without modifiers; may be empty
    };
    /// A shortcut needs Super, Ctrl or Alt. Super+Q and Ctrl+Q end programs and stay theirs.
    static std::variant<MainWindowShortcut, MainWindowShortcutRefusal> captureResult(
        const KeyPress& press);

    friend bool operator==(const MainWindowShortcut&, const MainWindowShortcut&) = default;
};

using MainWindowShortcutCaptureResult = std::variant<MainWindowShortcut, MainWindowShortcutRefusal>;

template <>
struct RecordFields<MainWindowShortcut> {
    static constexpr std::tuple list{field("keyCode", &MainWindowShortcut::keyCode),
                                     field("carbonModifiers", &MainWindowShortcut::carbonModifiers),
                                     field("keyLabel", &MainWindowShortcut::keyLabel)};
};

/// Where the shortcut is kept: JSON under one key.
namespace MainWindowShortcutStore {

/// Nothing where none is stored or what is stored cannot be one.
std::optional<MainWindowShortcut> load(const UserDefaults& defaults);
/// No shortcut removes the key.
void save(const std::optional<MainWindowShortcut>& shortcut, UserDefaults& defaults);

}  // namespace MainWindowShortcutStore

}  // namespace vantry
