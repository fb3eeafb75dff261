#include "lifecycle/ApplicationIdentityDefaultsMigration.h"

#include "platform/PreferenceFile.h"

namespace vantry::ApplicationIdentityDefaultsMigration {

namespace {

Values valuesOf(const std::filesystem::path& file) {
    Values values;
    const auto document = PreferenceFile::read(file);
    if (!document) return values;
    document->root().forEachMember([&](std::string_view key, JsonView value) {
        if (const auto text = value.text()) values.emplace(key, *text);
        return true;
    });
    return values;
}

}  // namespace

bool isMigratable(std::string_view key) {
    const bool isOurs = key.starts_with("Vantry.") || key.starts_with("Halvern.");
    return isOurs && !key.starts_with("Vantry.identityMigration.") &&
           key != "Vantry.lifecycleAgent.registrationFingerprint";
}

Values mergedValues(const Values& current, const Values& legacy) {
    Values merged = current;
    for (const auto& [key, value] : legacy) {
        if (isMigratable(key)) merged.emplace(key, value);
    }
    return merged;
}

void migrateIfNeeded(UserDefaults& defaults, const std::filesystem::path& directory) {
    const std::string marker(migrationMarkerKey);
    if (defaults.string(marker) == "true") return;
    Values merged;
    for (const std::string_view domain : previousDefaultsDomains) {
        merged = mergedValues(merged, valuesOf(directory / (std::string(domain) + ".json")));
    }
    UserDefaults::Change change{.set = {{marker, "true"}}};
    for (const auto& [key, value] : merged) {
        if (!defaults.string(key)) change.set.emplace(key, value);
    }
    defaults.change(change);
}

}  // namespace vantry::ApplicationIdentityDefaultsMigration
