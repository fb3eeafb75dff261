#include "records/TaskBoard.h"

#include "records/TokenBreakdown.h"

namespace vantry {

std::int64_t TaskBoard::totalCount() const {
    std::int64_t total = 0;
    for (const TaskColumn& column : columns) total = saturatingAdd(total, column.count);
    return total;
}

TaskBoard TaskBoard::replacingTodayConversationTokens(
    const std::map<std::string, std::int64_t>& tokensByThreadID, bool isStale) const {
    TaskBoard result = *this;
    for (TaskColumn& column : result.columns) {
        for (TaskItem& item : column.items) {
            if (!item.threadID) continue;
            const auto found = tokensByThreadID.find(*item.threadID);
            item.tokens.reset();
            if (found != tokensByThreadID.end()) item.tokens = found->second;
            item.tokensAreStale = isStale;
        }
    }
    return result;
}

}  // namespace vantry
