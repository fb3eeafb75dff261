#include "records/UsageSnapshot.h"

#include <algorithm>

namespace vantry {

const UsageSnapshot& UsageSnapshot::empty() {
    static const UsageSnapshot value{.refreshedAt = Date::now(),
                                     .messages = {{NoticeKind::readBegins}},
                                     .readerState = ReaderControlState::loading()};
    return value;
}

UsageSnapshot UsageSnapshot::replacingTaskBoard(std::optional<TaskBoard> board) const {
    UsageSnapshot result = *this;
    result.taskBoard = std::move(board);
    return result;
}

UsageSnapshot UsageSnapshot::replacingLocalUsage(const LocalUsageReplacement& replacement) const {
    UsageSnapshot result = *this;
    result.refreshedAt = replacement.at;
    result.local = replacement.result.local;
    result.localUsageCapturedAt = replacement.result.capturedAt;
    result.localUsageIsStale = replacement.result.isStale;
    result.localUsageReadStatus = replacement.result.readStatus;
    const auto isReplaced = [this](const Notice& message) {
        return std::ranges::find(localReadMessages, message) != localReadMessages.end() ||
               std::ranges::find(hybridReadMessages, message) != hybridReadMessages.end();
    };
    std::erase_if(result.messages, isReplaced);
    result.localReadMessages = replacement.localMessages;
    result.hybridReadMessages = replacement.hybridMessages;
    for (const auto* list : {&result.localReadMessages, &result.hybridReadMessages}) {
        result.messages.insert(result.messages.end(), list->begin(), list->end());
    }
    result.readerState.isLoading = false;
    result.readerState.localDependencyFailure = replacement.result.dependencyFailure;
    result.bindTaskBoardTokens();
    return result;
}

void UsageSnapshot::bindTaskBoardTokens() {
    if (!taskBoard) return;
    const auto tokens = local ? local->todayConversationTokens() : std::nullopt;
    taskBoard = taskBoard->replacingTodayConversationTokens(
        tokens.value_or(std::map<std::string, std::int64_t>{}),
        localUsageReadStatus != LocalUsageReadStatus::complete);
}

}  // namespace vantry
