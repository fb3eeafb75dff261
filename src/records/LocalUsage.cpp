#include "records/LocalUsage.h"

namespace vantry {

std::optional<std::map<std::string, std::int64_t>> LocalUsage::todayConversationTokens() const {
    if (!projectBoard) return std::nullopt;
    std::map<std::string, std::int64_t> tokens;
    for (const auto& [projectID, detail] : projectBoard->detailsByProjectID) {
        for (const ProjectConversationUsage& conversation : detail.conversations) {
            std::int64_t& sum = tokens[conversation.id];
            sum = saturatingAdd(sum, conversation.todayTokens);
        }
    }
    return tokens;
}

}  // namespace vantry
