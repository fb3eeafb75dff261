#pragma once

#include <array>
#include <filesystem>
#include <map>
#include <string>
#include <string_view>

#include "platform/UserDefaults.h"

/// Takes the preferences over from the identities that the application had before, once, and
/// before anything reads one.
namespace vantry::ApplicationIdentityDefaultsMigration {

inline constexpr std::string_view migrationMarkerKey = "Vantry.identityMigration.desktopapp.v1";

/// The newer before the older.
inline constexpr std::array<std::string_view, 2> previousDefaultsDomains{
    "com.orvale.vantry.stable", "com.halvern.vantry.stable"};

using Values = std::map<std::string, std::string>;

/// Whether the key is the user's choice, and not what one identity knows of itself.
bool isMigratable(std::string_view key);

/// `current`, and those migratable entries of `legacy` that it does not hold.
Values mergedValues(const Values& current, const Values& legacy);

/// Reads the earlier domains' files in `directory`, the preferences' own folder. Values and marker
/// are stored in one change. Values that are no texts were never this program's and stay behind.
void migrateIfNeeded(UserDefaults& defaults, const std::filesystem::path& directory);

}  // namespace vantry::ApplicationIdentityDefaultsMigration
