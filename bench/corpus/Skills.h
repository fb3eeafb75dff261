#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "corpus/Random.h"
#include "corpus/SessionPlan.h"

namespace vantry::corpus {

struct SkillFile {
    std::string path;                           ///< as calls name it, "~" not resolved
    std::optional<std::int64_t> bytes;          ///< nothing where no file can be measured
    std::optional<std::int64_t> tokenEstimate;  ///< of the file's text
};

/// The Skills of a home and the calls that load them.
///
/// Paths stand in commands with quotes around them where a shell needs some, so that the home's own
/// path must be one that needs none.
class Skills {
  public:
    explicit Skills(std::filesystem::path home);

    const std::vector<SkillFile>& files() const { return files_; }

    /// Arguments of a call of that kind, "function_call" or "custom_tool_call", which load one
    /// Skill or several, or none and only look like it.
    SkillMention mention(std::string_view callKind, Random& random) const;

    /// Makes the files below the home. Throws std::runtime_error.
    void write() const;

  private:
    std::size_t pick(Random& random) const;

    std::filesystem::path home_;
    std::vector<SkillFile> files_;
};

}  // namespace vantry::corpus
