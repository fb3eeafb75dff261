#include "statistics/LocalModelUsageAccumulator.h"

#include "platform/Text.h"

namespace vantry {

namespace {

constexpr int windowDays = 180;

// C0, DEL and C1, the last of which take two bytes in UTF-8.
bool hasControlCharacter(std::string_view text) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if (byte < 0x20 || byte == 0x7F) return true;
        if (byte == 0xC2 && i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) < 0xA0) {
            return true;
        }
    }
    return false;
}

}  // namespace

// The unknown model comes last in its day.
bool LocalModelUsageAccumulator::DayModel::operator<(const DayModel& other) const {
    if (dayStart != other.dayStart) return dayStart < other.dayStart;
    if (modelID && other.modelID) return *modelID < *other.modelID;
    return modelID && !other.modelID;
}

LocalModelUsageAccumulator::LocalModelUsageAccumulator(Date capturedAt, const Calendar& calendar)
    : capturedAt_(capturedAt), calendar_(calendar) {
    windowStart_ = calendar_.startOfDayAdding(1 - windowDays, capturedAt);
    valid_ = windowStart_.has_value();
}

void LocalModelUsageAccumulator::add(const Event& event) {
    if (!valid_) return;
    if (event.tokens < 0 || !event.at.isFinite()) {
        valid_ = false;
        return;
    }
    if (event.at > capturedAt_ || event.at < *windowStart_) return;
    // Asked first, because it is day() that makes the calendar keep a day with its start.
    const auto day = calendar_.day(event.at);
    const auto dayStart = calendar_.startOfDay(event.at);
    if (!day || !dayStart) {
        valid_ = false;
        return;
    }
    std::int64_t& sum = total(*dayStart, event.modelID);
    if (__builtin_add_overflow(sum, event.tokens, &sum)) valid_ = false;
}

std::int64_t& LocalModelUsageAccumulator::total(Date dayStart,
                                                std::optional<std::string_view> modelID) {
    if (lastTotal_ == nullptr || dayStart != lastDayStart_ || modelID != lastModelText_) {
        lastTotal_ = &totals_[{.dayStart = dayStart, .modelID = normalizedModel(modelID)}];
        lastDayStart_ = dayStart;
        lastModelText_ = modelID;
    }
    return *lastTotal_;
}

std::optional<LocalModelUsage> LocalModelUsageAccumulator::makeUsage() const {
    if (!valid_ || totals_.empty()) return std::nullopt;
    LocalModelUsage usage{.capturedAt = capturedAt_,
                          .timeZoneIdentifier = calendar_.zone().identifier()};
    usage.buckets.reserve(totals_.size());
    for (const auto& [key, tokens] : totals_) {
        usage.buckets.push_back(
            {.dayStart = key.dayStart, .modelID = key.modelID, .tokens = tokens});
    }
    return usage;
}

std::optional<std::string> LocalModelUsageAccumulator::normalizedModel(
    std::optional<std::string_view> model) {
    constexpr std::size_t longest = 128;
    const std::string_view id = trimmed(model.value_or(""));
    if (id.empty() || id.size() > longest || id.find_first_of("/\\") != std::string_view::npos ||
        hasControlCharacter(id)) {
        return std::nullopt;
    }
    return std::string(id);
}

}  // namespace vantry
