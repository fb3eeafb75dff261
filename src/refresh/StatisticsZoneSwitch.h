#pragma once

#include <functional>
#include <optional>
#include <string>

#include "platform/MainLoop.h"

namespace vantry {

/// A switch of the statistics zone, while it lasts and shortly after.
struct StatisticsTransition {
    enum class Stage { switching, switched, switchedFromCache };
    Stage stage = Stage::switching;
    std::string zoneIdentifier;

    friend bool operator==(const StatisticsTransition&, const StatisticsTransition&) = default;
};

/// What is told of a switch, and for how long. The main loop's thread.
class StatisticsZoneSwitch {
  public:
    static constexpr double feedbackDuration = 2.5;  ///< seconds that the end of a switch is told

    /// `changed` is called after each change of what is told.
    StatisticsZoneSwitch(MainLoop& loop, std::function<void()> changed)
        : loop_(loop), changed_(std::move(changed)) {}

    /// A switch to the zone waits for its data.
    void begin(std::string zoneIdentifier) {
        feedbackTimer_.reset();
        tell({StatisticsTransition::Stage::switching, std::move(zoneIdentifier)});
    }

    /// The data of the zone is there.
    void finish(std::string zoneIdentifier, bool isCached) {
        using Stage = StatisticsTransition::Stage;
        feedbackTimer_ = loop_.after(feedbackDuration, [this] { endFeedback(); });
        tell({isCached ? Stage::switchedFromCache : Stage::switched, std::move(zoneIdentifier)});
    }

    /// Nobody would take the message of a finished switch away any more.
    void stop() {
        if (feedbackTimer_) endFeedback();
    }

    bool isWaiting() const {
        return transition_ && transition_->stage == StatisticsTransition::Stage::switching;
    }
    const std::optional<StatisticsTransition>& transition() const { return transition_; }

  private:
    void tell(StatisticsTransition transition) {
        transition_ = std::move(transition);
        changed_();
    }
    void endFeedback() {
        feedbackTimer_.reset();
        transition_.reset();
        changed_();
    }

    MainLoop& loop_;
    std::function<void()> changed_;
    std::optional<StatisticsTransition> transition_;
    MainLoop::TimerHandle feedbackTimer_;
};

}  // namespace vantry
