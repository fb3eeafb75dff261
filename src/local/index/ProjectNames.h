#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/JsonReader.h"
#include "records/Projects.h"

namespace vantry {

/// The names that projects have in Codex, by their directory. Any thread once made.
class CodexProjectNameIndex {
  public:
    /// From the bytes of Codex's global state; empty without them, and where they are no object.
    explicit CodexProjectNameIndex(std::optional<std::string_view> data);
    explicit CodexProjectNameIndex(JsonView globalState);

    /// One spelling for all that differ by slashes, "." and "..". Links are not resolved, and a
    /// relative path stays as it is.
    static std::string normalizedPath(std::string_view path);

    /// In any spelling of the path.
    std::optional<std::string> name(std::string_view path) const;

  private:
    void add(JsonView globalState);

    std::map<std::string, std::string> names_;
};

namespace CodexUsageReader {

/// The projects in their order, each with its name in Codex where it has one.
std::vector<ProjectUsage> applyingCodexProjectNames(std::vector<ProjectUsage> projects,
                                                    const CodexProjectNameIndex& index);

/// A directory's own name: the last component of its path. Empty for an empty path.
std::string shortWorkspaceName(std::string_view path);

}  // namespace CodexUsageReader

}  // namespace vantry
