#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <iostream>
#include <string_view>
#include <vector>

#include "headless/CommandLine.h"
#include "headless/DumpValues.h"
#include "headless/EndingSignals.h"
#include "headless/JsonDump.h"
#include "headless/Watch.h"
#include "local/analytics/LocalUsageReader.h"
#include "presentation/words/CommandLineWords.h"
#include "runtime/MultiRuntimeUsageReader.h"
#include "selftests/SelfTestModes.h"

using namespace vantry;

namespace {

// A descriptor that the shell left closed would be given to the next file that is opened, and what
// is printed would go there.
void openMissingStandardDescriptors() {
    for (int number = 0; number <= 2; ++number) {
        if (::fcntl(number, F_GETFD) < 0) ::open("/dev/null", O_RDWR);
    }
}

RuntimeLoadContext contextOf(const ReadEndedBySignals& read) {
    auto context =
        RuntimeLoadContext::live(Date::now(), StatisticsTimeZonePreference::defaultValue());
    context.cancellation = read.cancellation();
    return context;
}

MultiRuntimeUsageSnapshot readEverything() {
    const ReadEndedBySignals read;
    return MultiRuntimeUsageReader().load(contextOf(read), {});
}

WidgetLanguage userLanguage() {
    return automaticLanguage(processEnvironment);
}

// The application itself; where it is not installed, what this program can do.
int runWithoutMode(const std::vector<std::string_view>& arguments, char** argv) {
    std::vector<std::string_view> selfTests;
    for (const SelfTestMode& mode : selfTestModes()) selfTests.push_back(mode.argument);
    if (const auto answer = commandLineAnswer(arguments, selfTests, userLanguage())) {
        std::cout << answer->output << std::flush;
        std::cerr << answer->error << std::flush;
        return answer->status;
    }
    becomeDesktopApplication(argv);
    if (arguments.size() > 1) {
        std::cerr << CommandLineWords::noDesktop.in(userLanguage()) << std::endl;
        return 1;
    }
    std::cout << helpText(selfTests, userLanguage()) << std::flush;
    return 0;
}

// Forgets what is kept of logs that are no longer there, those included that nothing has missed
// yet.
int forgetGone() {
    const ReadEndedBySignals read;
    const RuntimeLoadContext context = contextOf(read);
    ReaderCaches caches;
    CodexUsageReader::readLocalUsage({.context = context, .userCodex = context.userCodex()},
                                     caches);
    const std::size_t count = caches.sessions.forgetGone();
    if (caches.sessions.save() != SessionUsageCache::Saving::done) {
        std::cerr << CommandLineWords::notForgotten.in(userLanguage()) << std::endl;
        return 1;
    }
    const BilingualText& words =
        count == 1 ? CommandLineWords::forgottenOne : CommandLineWords::forgotten;
    std::cout << inWords(words, userLanguage(), count) << std::endl;
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    openMissingStandardDescriptors();
    // Inherited as ignored, the kernel would throw the exit statuses of our children away.
    ::signal(SIGCHLD, SIG_DFL);
    // A reader that has gone away changes nothing about how we end.
    ::signal(SIGPIPE, SIG_IGN);
    const std::vector<std::string_view> arguments(argv, argv + argc);
    const auto isGiven = [&](std::string_view argument) {
        return std::ranges::find(arguments, argument) != arguments.end();
    };
    for (const SelfTestMode& mode : selfTestModes()) {
        if (isGiven(mode.argument)) return mode.run() ? 0 : 1;
    }
    if (isGiven("--dump-probe-summary")) {
        const MultiRuntimeUsageSnapshot snapshot = readEverything();
        dumpProbeSummaryJSON(snapshot, Date::now(), std::cout);
        // The whole dump has a message that says so.
        if (snapshot.runtimes.empty()) {
            std::cerr << CommandLineWords::nothingToRead.in(userLanguage()) << std::endl;
        }
        return 0;
    }
    if (isGiven("--dump-json")) {
        dumpJSON(readEverything(), std::cout);
        return 0;
    }
    if (isGiven("--dump-values")) {
        return dumpValues(dumpValuesRequest(arguments), std::cout, std::cerr);
    }
    if (isGiven("--watch")) return runWatch();
    const bool wantsHelp = isGiven("--help") || isGiven("-h");
    if (arguments.size() > 1 && arguments[1] == "forget-gone" && !wantsHelp) return forgetGone();
    return runWithoutMode(arguments, argv);
}
