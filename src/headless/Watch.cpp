#include "headless/Watch.h"

#include <csignal>
#include <cstdlib>
#include <optional>
#include <string>
#include <sys/signalfd.h>
#include <unistd.h>
#include <utility>

#include "headless/EndingSignals.h"
#include "headless/WatchScreen.h"
#include "platform/PollMainLoop.h"
#include "presentation/status/WatchLines.h"
#include "presentation/words/QuotaEarlyRecoveryCopy.h"
#include "session/UsageSession.h"

namespace vantry {

namespace {

constexpr double screenInterval = 20;  // seconds; a countdown changes each minute
constexpr double behindInterval = 1;   // seconds, while the output takes nothing

/// A session with a screen. The main loop's thread.
class Watch {
  public:
    explicit Watch(FileDescriptor signals) : signals_(std::move(signals)) {}

    int run() {
        const auto signalWatch = loop_.watchReadable(signals_.number(), [this] { takeSignal(); });
        UsageStore& store = session_.store();
        const auto changes = store.observe([this](const UsageStoreChanges&) { show(); });
        const auto recoveries = store.observeQuotaEarlyRecovery(
            [this](const QuotaEarlyRecoveryEvent&) { announceRecovery(); });
        const auto settings =
            session_.settings().observe([this](const AppSettingsProperties&) { show(); });
        const auto screenTimer = loop_.every(screenInterval, [this] { show(); });
        store.setLocalUsageForeground(true);
        session_.start();
        show();
        loop_.run();
        screen_.close();
        const bool hasEnded = session_.end();
        if (endingSignal_ != 0) endBySignal(endingSignal_);
        if (!hasEnded) std::_Exit(EXIT_SUCCESS);
        return EXIT_SUCCESS;
    }

  private:
    void takeSignal() {
        signalfd_siginfo info{};
        while (::read(signals_.number(), &info, sizeof info) == sizeof info) {
            if (info.ssi_signo == SIGWINCH) {
                show();
            } else {
                endingSignal_ = static_cast<int>(info.ssi_signo);
                loop_.stop();
            }
        }
    }

    WidgetLanguage language() { return session_.settings().values().language; }

    void show() {
        const std::size_t columns = screen_.columns();
        const auto lines =
            WatchLines::lines({.snapshot = session_.store().state().multiRuntimeSnapshot,
                               .now = loop_.now(),
                               .language = language(),
                               .columns = columns > 0 ? std::optional(columns) : std::nullopt});
        if (!screen_.show(lines)) loop_.stop();
        showAgainIfBehind();
    }

    void announceRecovery() {
        using namespace QuotaEarlyRecoveryCopy;
        std::string line;
        for (const BilingualText& words : {title, bodyLine1, bodyLine2}) {
            if (!line.empty()) line += ' ';
            line += words.in(language());
        }
        if (!screen_.announce(line)) loop_.stop();
        showAgainIfBehind();
    }

    void showAgainIfBehind() {
        if (screen_.isBehind()) showingAgain_ = loop_.after(behindInterval, [this] { show(); });
    }

    FileDescriptor signals_;
    int endingSignal_ = 0;  ///< 0 as long as none has come
    PollMainLoop loop_;
    WatchScreen screen_;
    MainLoop::TimerHandle showingAgain_;
    UsageSession session_{loop_};
};

}  // namespace

int runWatch() {
    FileDescriptor signals = takeEndingSignals({SIGWINCH});
    if (!signals.isOpen()) return EXIT_FAILURE;
    return Watch(std::move(signals)).run();
}

}  // namespace vantry
