#include "statistics/StatisticsTimeZonePreferenceStore.h"

namespace vantry::StatisticsTimeZonePreferenceStore {

namespace {

constexpr const char* selectionKey = "Vantry.statisticsTimeZone.selection";
constexpr const char* identifierKey = "Vantry.statisticsTimeZone.fixedIdentifier";

void store(const StatisticsTimeZonePreference& repaired, UserDefaults& defaults) {
    defaults.setStrings({{selectionKey, std::string(rawText(repaired.selection))},
                         {identifierKey, repaired.fixedIdentifier}});
}

}  // namespace

StatisticsTimeZonePreference load(UserDefaults& defaults, const TimeZone& system) {
    const auto selection =
        fromRawText<StatisticsTimeZoneSelection>(defaults.string(selectionKey).value_or(""));
    const StatisticsTimeZonePreference read{
        .selection = selection.value_or(StatisticsTimeZoneSelection::system),
        .fixedIdentifier = defaults.string(identifierKey).value_or(system.identifier())};
    StatisticsTimeZonePreference repaired = read.repaired(system);
    if (!(repaired == read)) store(repaired, defaults);
    return repaired;
}

void save(const StatisticsTimeZonePreference& preference, UserDefaults& defaults) {
    store(preference.repaired(TimeZone::system()), defaults);
}

}  // namespace vantry::StatisticsTimeZonePreferenceStore
