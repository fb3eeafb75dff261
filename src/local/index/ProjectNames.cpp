#include "local/index/ProjectNames.h"

#include <utility>

#include "platform/Text.h"

namespace vantry {

namespace {

std::string_view trimmedText(JsonView value) {
    return trimmed(value.text().value_or(""));
}

}  // namespace

CodexProjectNameIndex::CodexProjectNameIndex(std::optional<std::string_view> data) {
    if (!data) return;
    if (const auto document = JsonDocument::parse(*data)) add(document->root());
}

CodexProjectNameIndex::CodexProjectNameIndex(JsonView globalState) {
    add(globalState);
}

void CodexProjectNameIndex::add(JsonView globalState) {
    globalState["electron-workspace-root-labels"].forEachMember(
        [&](std::string_view path, JsonView value) {
            const std::string_view label = trimmedText(value);
            if (!label.empty() && !trimmed(path).empty()) names_[normalizedPath(path)] = label;
            return true;
        });
    // A project's own name beats a label, which can be stale.
    globalState["local-projects"].forEachMember([&](std::string_view, JsonView project) {
        const std::string_view name = trimmedText(project["name"]);
        if (name.empty()) return true;
        project["rootPaths"].forEachElement([&](JsonView path) {
            if (const auto text = path.text()) names_[normalizedPath(*text)] = name;
            return true;
        });
        return true;
    });
}

std::string CodexProjectNameIndex::normalizedPath(std::string_view path) {
    path = trimmed(path);
    if (!path.starts_with('/')) return std::string(path);
    std::vector<std::string_view> kept;
    for (const std::string_view part : splitOmittingEmpty(path, '/')) {
        if (part == "..") {
            if (!kept.empty()) kept.pop_back();
        } else if (part != ".") {
            kept.push_back(part);
        }
    }
    std::string result;
    for (const std::string_view part : kept) result.append(1, '/').append(part);
    return result.empty() ? "/" : result;
}

std::optional<std::string> CodexProjectNameIndex::name(std::string_view path) const {
    if (names_.empty()) return std::nullopt;
    const auto found = names_.find(normalizedPath(path));
    return found == names_.end() ? std::nullopt : std::optional(found->second);
}

namespace CodexUsageReader {

std::vector<ProjectUsage> applyingCodexProjectNames(std::vector<ProjectUsage> projects,
                                                    const CodexProjectNameIndex& index) {
    for (ProjectUsage& project : projects) {
        if (auto name = index.name(project.fullPath)) project.name = *std::move(name);
    }
    return projects;
}

std::string shortWorkspaceName(std::string_view path) {
    const auto components = splitOmittingEmpty(path, '/');
    if (components.empty()) return path.empty() ? "" : "/";
    return std::string(components.back());
}

}  // namespace CodexUsageReader

}  // namespace vantry
