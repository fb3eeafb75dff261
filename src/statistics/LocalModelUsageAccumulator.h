#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "platform/Calendar.h"
#include "records/LocalUsage.h"

namespace vantry {

/// Counts the tokens of a batch by model and natural day, for 180 days up to the capture.
///
/// A figure that cannot be told exactly spoils the whole batch, and a spoilt batch gives nothing.
/// One thread; stays where it was made, for it remembers a place in its own map.
class LocalModelUsageAccumulator {
  public:
    /// Spoilt from the start where the capture time is not finite.
    LocalModelUsageAccumulator(Date capturedAt, const Calendar& calendar);
    LocalModelUsageAccumulator(const LocalModelUsageAccumulator&) = delete;
    LocalModelUsageAccumulator& operator=(const LocalModelUsageAccumulator&) = delete;

    struct Event {
        std::int64_t tokens = 0;
        std::optional<std::string_view> modelID;  ///< counts as unknown where it is no id
        Date at;
    };
    /// Leaves out what lies outside the 180 days or after the capture. Negative tokens, wherever
    /// they lie, a time that is not finite and an overflow spoil the batch.
    void add(const Event& event);

    /// By day, then by model with the unknown one last. Nothing for a spoilt batch or an empty one.
    std::optional<LocalModelUsage> makeUsage() const;

    bool isValid() const { return valid_; }
    std::optional<Date> windowStart() const { return windowStart_; }

    /// The model's id without white space around it; nothing for what is no id: an empty text, one
    /// of more than 128 bytes, or one with a path separator or a control character in it.
    static std::optional<std::string> normalizedModel(std::optional<std::string_view> model);

    struct DayModel {
        Date dayStart;
        std::optional<std::string> modelID;

        bool operator<(const DayModel& other) const;
    };

  private:
    friend struct RecordFields<LocalModelUsageAccumulator>;

    std::int64_t& total(Date dayStart, std::optional<std::string_view> modelID);

    std::map<DayModel, std::int64_t> totals_;
    bool valid_ = false;
    std::optional<Date> windowStart_;
    Date capturedAt_;
    Calendar calendar_;

    // The slot of the event before, which is mostly that of the next: its model as it was given.
    Date lastDayStart_;
    std::optional<std::string> lastModelText_;
    std::int64_t* lastTotal_ = nullptr;
};

template <>
struct RecordFields<LocalModelUsageAccumulator::DayModel> {
    using Key = LocalModelUsageAccumulator::DayModel;
    static constexpr std::tuple list{field("dayStart", &Key::dayStart),
                                     field("modelID", &Key::modelID)};
};

template <>
struct RecordFields<LocalModelUsageAccumulator> {
    using Sums = LocalModelUsageAccumulator;
    static constexpr std::tuple list{field("totals", &Sums::totals_),
                                     field("valid", &Sums::valid_)};
};

}  // namespace vantry
