#include "presentation/dashboard/CodexSessionOpener.h"

#include "platform/Text.h"

namespace vantry::CodexSessionOpener {

namespace {

bool isUUID(std::string_view text) {
    constexpr std::string_view form = "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx";
    constexpr std::string_view digits = "0123456789abcdefABCDEF";
    if (text.size() != form.size()) return false;
    for (std::size_t i = 0; i < form.size(); ++i) {
        const bool fits = form[i] == '-' ? text[i] == '-' : digits.find(text[i]) != digits.npos;
        if (!fits) return false;
    }
    return true;
}

}  // namespace

std::optional<std::string> url(std::string_view threadID) {
    if (!isUUID(threadID)) return std::nullopt;
    std::string result("codex://threads/");
    result += asciiLowercased(threadID);
    return result;
}

bool open(std::string_view threadID, const OpenURL& openURL) {
    const auto target = url(threadID);
    return target && openURL(*target);
}

std::optional<std::string> conversationURL(const TaskItem& item) {
    if (item.kind == TaskColumnKind::scheduled || !item.threadID) return std::nullopt;
    return url(*item.threadID);
}

std::string resumeCommand(std::string_view threadID) {
    return isUUID(threadID) ? "codex resume " + asciiLowercased(threadID) : std::string();
}

Opening opening(std::string_view threadID, const Machine& machine) {
    const auto address = url(threadID);
    if (!address) return {};
    if (machine.handlesCodexAddresses) {
        return {.kind = Opening::Kind::address, .arguments = {*address}};
    }
    if (machine.terminal && machine.codexProgram) {
        return {.kind = Opening::Kind::terminal,
                .arguments = {*machine.terminal, "-e", *machine.codexProgram, "resume",
                              asciiLowercased(threadID)}};
    }
    return {.kind = Opening::Kind::clipboard, .arguments = {resumeCommand(threadID)}};
}

}  // namespace vantry::CodexSessionOpener
