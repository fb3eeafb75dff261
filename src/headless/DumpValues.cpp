#include "headless/DumpValues.h"

#include <fmt/format.h>
#include <string_view>

#include "headless/EndingSignals.h"
#include "platform/Application.h"
#include "platform/UserDirectories.h"
#include "presentation/Surfaces.h"
#include "presentation/samples/SampleStates.h"
#include "presentation/words/CommandLineWords.h"
#include "runtime/MultiRuntimeUsageReader.h"
#include "statistics/StatisticsTimeZonePreferenceStore.h"

namespace vantry {

namespace {

/// One read of this machine with the user's own settings.
SampleState stateOfThisMachine() {
    UserDefaults defaults(UserDirectories::current().config / application::displayName,
                          application::displayName);
    const AppSettings settings({.defaults = defaults, .calendar = Calendar(TimeZone::system())});
    const auto zone = StatisticsTimeZonePreferenceStore::load(defaults, TimeZone::system());
    const Environment environment = environmentOf(settings.values(), processEnvironment);
    const ReadEndedBySignals read;
    auto context = RuntimeLoadContext::live(Date::now(), zone, environment);
    context.cancellation = read.cancellation();
    SampleState shown{.settings = settings.values(), .machine = gatherMachineFacts(), .now = {}};
    shown.state.statisticsPreference = zone;
    shown.state.multiRuntimeSnapshot = MultiRuntimeUsageReader().load(context, {});
    shown.state.snapshot =
        shown.state.multiRuntimeSnapshot.displaySnapshot(shown.state.selectedRuntimeScope);
    shown.now = Date::now();
    return shown;
}

}  // namespace

DumpValuesRequest dumpValuesRequest(const std::vector<std::string_view>& arguments) {
    DumpValuesRequest request;
    for (std::size_t i = 1; i + 1 < arguments.size(); ++i) {
        if (arguments[i] == "--state") request.state = arguments[i + 1];
        if (arguments[i] == "--language") request.language = arguments[i + 1];
    }
    return request;
}

int dumpValues(const DumpValuesRequest& request, std::ostream& output, std::ostream& errors) {
    const WidgetLanguage user = automaticLanguage(processEnvironment);
    const auto language = fromRawText<WidgetLanguage>(request.language);
    if (!request.language.empty() && !language) {
        errors << inWords(CommandLineWords::unknownLanguage, user, request.language) << std::endl;
        return 2;
    }
    auto shown = request.state.empty() ? stateOfThisMachine() : sampleState(request.state);
    if (!shown) {
        errors << inWords(CommandLineWords::unknownState, user, request.state,
                          fmt::format("{}", fmt::join(sampleStateNames(), " ")))
               << std::endl;
        return 2;
    }
    if (language) {
        shown->settings.language = *language;
    } else if (!request.state.empty()) {
        shown->settings.language = user;
    }
    const auto text =
        writeJson(encode(surfaces(shown->input()), RecordForm::shown), JsonLayout::pretty);
    if (!text) return 1;
    output << *text << std::endl;
    return 0;
}

}  // namespace vantry
