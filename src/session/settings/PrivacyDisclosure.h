#pragma once

#include "platform/UserDefaults.h"

/// Whether the user knows what is read. Nothing of Codex is read before.
namespace vantry::PrivacyDisclosure {

/// Raised when what is read changes, so that everybody is told again.
inline constexpr int currentVersion = 1;

/// A stored value that is no number counts as not acknowledged.
bool isAcknowledged(const UserDefaults& defaults);

void acknowledge(UserDefaults& defaults);

}  // namespace vantry::PrivacyDisclosure
