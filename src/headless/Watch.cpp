#include "headless/Watch.h"

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <sys/signalfd.h>
#include <thread>
#include <unistd.h>
#include <utility>

#include "headless/EndingSignals.h"
#include "headless/WatchScreen.h"
#include "platform/MachineChanges.h"
#include "platform/PollMainLoop.h"
#include "platform/UserDirectories.h"
#include "platform/WorkQueue.h"
#include "presentation/status/WatchLines.h"
#include "presentation/words/QuotaEarlyRecoveryCopy.h"
#include "refresh/UsageStore.h"
#include "session/DesktopWidgetSnapshotBuilder.h"
#include "session/DesktopWidgetSnapshotPublisher.h"

namespace vantry {

namespace {

constexpr double screenInterval = 20;  // seconds; a countdown changes each minute
constexpr double behindInterval = 1;   // seconds, while the output takes nothing
constexpr double zoneInterval = 60;    // seconds
constexpr double sleepInterval = 10;   // seconds
constexpr auto endingTime = std::chrono::milliseconds(300);

UserDefaults standardDefaults() {
    return {UserDirectories::current().config / "Vantry", "Vantry"};
}

/// The machine's own sources, for reads that can be cancelled.
UsageStoreSources sourcesOf(const Cancellation& cancellation) {
    UsageStoreSources sources = UsageStoreSources::real();
    sources.liveContext = [cancellation, live = std::move(sources.liveContext)](
                              Date now, const StatisticsTimeZonePreference& preference) {
        RuntimeLoadContext context = live(now, preference);
        context.cancellation = cancellation;
        return context;
    };
    return sources;
}

/// Reads one after the other on a thread of their own, the desktop record on another, so that a
/// long read does not hold it up. Knows whether a task is left.
class BackgroundWork {
  public:
    void read(std::function<void()> task) { run(reads_, std::move(task)); }
    void write(std::function<void()> task) { run(writes_, std::move(task)); }

    /// Ends the reads and the children that they wait for. A read that still goes on then goes on
    /// with its own work alone, which is files that are replaced whole; false, and the process has
    /// to be left without waiting for it.
    bool end() {
        cancellation_.cancel();
        cancellation_.waitUntilNothingIsHeld(childrenEndingTime);
        const auto deadline = std::chrono::steady_clock::now() + endingTime;
        while (open_ > 0) {
            if (std::chrono::steady_clock::now() >= deadline) return false;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return true;
    }

    const Cancellation& cancellation() const { return cancellation_; }

  private:
    void run(WorkQueue& queue, std::function<void()> task) {
        ++open_;
        queue.submit([this, task = std::move(task)] {
            task();
            --open_;
        });
    }

    const Cancellation cancellation_ = Cancellation::make();
    std::atomic<int> open_ = 0;
    WorkQueue reads_{1};
    WorkQueue writes_{1};
};

/// All that a watch consists of. The main loop's thread.
class Watch {
  public:
    explicit Watch(FileDescriptor signals)
        : signals_(std::move(signals)),
          publisher_({.store = DesktopWidgetSnapshotStore(UserDirectories::current()),
                      .onDesktopWidgetQueue = [this](auto task) { work_.write(std::move(task)); },
                      .onMainThread = [this](auto task) { loop_.post(std::move(task)); },
                      .reload = std::make_shared<NoDesktopWidgetReloadService>()}),
          store_({.loop = loop_,
                  .runInBackground = [this](auto task) { work_.read(std::move(task)); },
                  .sources = sourcesOf(work_.cancellation()),
                  .defaults = defaults_,
                  .systemTimeZone = [] { return TimeZone::system(); },
                  .publishDesktopRecord =
                      [this](const auto& published, const auto& statistics, Date now) {
                          publisher_.publish(makeDesktopWidgetSnapshot(published, statistics), now);
                      }}) {}

    int run() {
        const auto signalWatch = loop_.watchReadable(signals_.number(), [this] { takeSignal(); });
        const auto changes = store_.observe([this] { show(); });
        const auto recoveries = store_.observeQuotaEarlyRecovery(
            [this](const QuotaEarlyRecoveryEvent&) { announceRecovery(); });
        const auto screenTimer = loop_.every(screenInterval, [this] { show(); });
        const auto zoneTimer = loop_.every(zoneInterval, [this] { compareZone(); });
        const auto sleepTimer = loop_.every(sleepInterval, [this] { compareSleep(); });
        const auto networkWatch = loop_.watchReadable(network_.number(), [this] {
            takeNetworkChanges(network_);
            store_.networkDidChange();
        });
        store_.setLocalUsageForeground(true);
        store_.start();
        show();
        loop_.run();
        store_.stop();
        screen_.close();
        defaults_.flush(endingTime);
        const bool hasEnded = work_.end();
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

    void show() {
        const std::size_t columns = screen_.columns();
        const auto lines =
            WatchLines::lines({.snapshot = store_.state().multiRuntimeSnapshot,
                               .now = loop_.now(),
                               .language = language_,
                               .columns = columns > 0 ? std::optional(columns) : std::nullopt});
        if (!screen_.show(lines)) loop_.stop();
        showAgainIfBehind();
    }

    void announceRecovery() {
        using namespace QuotaEarlyRecoveryCopy;
        std::string line;
        for (const BilingualText& words : {title, bodyLine1, bodyLine2}) {
            if (!line.empty()) line += ' ';
            line += words.in(language_);
        }
        if (!screen_.announce(line)) loop_.stop();
        showAgainIfBehind();
    }

    void showAgainIfBehind() {
        if (screen_.isBehind()) showingAgain_ = loop_.after(behindInterval, [this] { show(); });
    }

    // Nothing tells a program without a desktop that the machine's zone was changed.
    void compareZone() {
        TimeZone zone = TimeZone::system();
        if (zone == zone_) return;
        zone_ = std::move(zone);
        store_.systemTimeZoneDidChange();
    }

    // The loop's timers go on during a sleep, so that this one runs as soon as it ends.
    void compareSleep() {
        constexpr double nap = 5;  // seconds
        const double slept = secondsSlept();
        if (slept - std::exchange(slept_, slept) > nap) store_.machineDidWake();
    }

    FileDescriptor signals_;
    int endingSignal_ = 0;  ///< 0 as long as none has come
    PollMainLoop loop_;
    FileDescriptor network_ = openNetworkChanges();
    double slept_ = secondsSlept();
    BackgroundWork work_;
    WatchScreen screen_;
    MainLoop::TimerHandle showingAgain_;
    Language language_ = language(processEnvironment);
    TimeZone zone_ = TimeZone::system();
    DesktopWidgetSnapshotPublisher publisher_;
    UserDefaults defaults_ = standardDefaults();
    UsageStore store_;
};

}  // namespace

int runWatch() {
    FileDescriptor signals = takeEndingSignals({SIGWINCH});
    if (!signals.isOpen()) return EXIT_FAILURE;
    return Watch(std::move(signals)).run();
}

}  // namespace vantry
