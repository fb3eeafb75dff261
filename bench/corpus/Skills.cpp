#include "corpus/Skills.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <fstream>
#include <stdexcept>

#include "corpus/SessionLines.h"

namespace vantry::corpus {

namespace {

struct Place {
    std::string_view path;      ///< after the home's, unless it begins with "~/" or "//"
    std::string_view measured;  ///< the file below the home that is there; empty for none
    int words = 0;              ///< of its text
    int characters = 0;         ///< Chinese ones
};

constexpr std::array<Place, 8> places{
    {{"/.codex/skills/review/SKILL.md", ".codex/skills/review/SKILL.md", 300, 0},
     {"/.codex/skills/.system/plan/SKILL.md", ".codex/skills/.system/plan/SKILL.md", 1, 1},
     {"/.codex/skills/My Notes/写作/SKILL.md", ".codex/skills/My Notes/写作/SKILL.md", 40, 900},
     {"~/.agents/skills/deploy/SKILL.md", ".agents/skills/deploy/SKILL.md", 77, 0},
     {"/.codex/plugins/cache/openai-curated/docs/1.2.0/skills/docs/SKILL.md",
      ".codex/plugins/cache/openai-curated/docs/1.2.0/skills/docs/SKILL.md", 55, 3},
     // The plugin was updated since, and its newer file is measured.
     {"/.codex/plugins/cache/openai-curated/docs/1.1.0/skills/docs/SKILL.md",
      ".codex/plugins/cache/openai-curated/docs/1.2.0/skills/docs/SKILL.md", 55, 3},
     {"/.codex/skills/removed/SKILL.md", "", 0, 0},
     {"//nowhere/ai[2]/SKILL.md", "", 0, 0}}};

std::string textOf(const Place& place) {
    std::string text;
    for (int i = 0; i < place.words; ++i) text += "step\n";
    for (int i = 0; i < place.characters; ++i) text += "写";
    return text;
}

/// As one word of a command.
std::string word(const std::string& path, Random& random) {
    const bool needsQuotes = path.find(' ') != std::string::npos;
    if (path.starts_with('~') || (!needsQuotes && random.chance(0.5))) return path;
    switch (random.below(needsQuotes ? 3 : 4)) {
        case 0:
            return fmt::format("'{}'", path);
        case 1:
            return fmt::format("\"{}\"", path);
        case 2: {
            std::string escaped;
            for (const char letter : path) {
                if (letter == ' ') escaped += '\\';
                escaped += letter;
            }
            return escaped;
        }
        default:
            return path.substr(0, path.size() - 8) + "\"SKILL\".md";
    }
}

// Arguments that load nothing, each for a reason of its own.
constexpr std::array<std::string_view, 6> idleArguments{
    R"({"cmd":"cat ../relative/SKILL.md .codex/skills/review/SKILL.md"})",
    R"({"path":".codex/skills/review/SKILL.md"})",
    R"({"cmd":"echo 'every folder needs its SKILL.md'"})",
    R"({"cmd":"cat /nowhere/decoy/skill.md /nowhere/decoy/SKILL.md.orig"})",
    R"({"cmd":"echo 'cat /nowhere/decoy/SKILL.md"})",
    R"({"cmd":"ls","workdir":"/nowhere/decoy/SKILL.md"})"};
constexpr std::string_view idlePatch =
    "*** Begin Patch\n*** Update File: skills/review/SKILL.md\n"
    "+See `SKILL.md` and docs/SKILL.md.\n*** End Patch";

}  // namespace

Skills::Skills(std::filesystem::path home) : home_(std::move(home)) {
    for (const Place& place : places) {
        SkillFile file;
        if (place.path.starts_with("//")) {
            file.path = place.path.substr(1);
        } else {
            file.path = place.path.starts_with('~') ? "" : home_.string();
            file.path += place.path;
        }
        if (!place.measured.empty()) {
            file.bytes = static_cast<std::int64_t>(textOf(place).size());
            // A Chinese character is a token, 3.8 other ones are one.
            file.tokenEstimate = place.characters + (4 * place.words * 10 + 37) / 38;
        }
        files_.push_back(std::move(file));
    }
}

std::size_t Skills::pick(Random& random) const {
    return std::min(random.below(files_.size()), random.below(files_.size()));
}

SkillMention Skills::mention(std::string_view callKind, Random& random) const {
    const bool isCustom = callKind == "custom_tool_call";
    if (random.chance(0.3)) {
        const std::string_view idle = isCustom ? idlePatch : random.pick(idleArguments);
        return {.arguments = std::string(idle)};
    }
    const std::size_t one = pick(random);
    const std::size_t other = pick(random);
    const std::string& path = files_[one].path;
    const std::string& otherPath = files_[other].path;
    std::vector<std::size_t> both{one};
    if (other != one) both.push_back(other);
    if (isCustom) {
        if (random.chance(0.5)) {
            return {
                .arguments = fmt::format(R"(await tools.exec_command({{cmd: "cat '{}'"}});)", path),
                .loads = {one}};
        }
        return {
            .arguments = fmt::format(R"(const texts = await read("{}", '{}');)", path, otherPath),
            .loads = std::move(both)};
    }
    const std::string a = word(path, random);
    const std::string b = word(otherPath, random);
    switch (random.below(5)) {
        case 0:
            return {.arguments = fmt::format(R"({{"cmd":{}}})", jsonText("cat " + a)),
                    .loads = {one}};
        case 1:
            return {.arguments = fmt::format(
                        R"({{"cmd":{},"workdir":"/nowhere"}})",
                        jsonText(fmt::format("sed -n '1,200p' {} && rg -n SKILL.md src", a))),
                    .loads = {one}};
        case 2:
            return {
                .arguments = fmt::format(R"({{"command":["bash","-lc",{}]}})",
                                         jsonText(fmt::format("cat {}; cat {} | head -20", a, b))),
                .loads = std::move(both)};
        case 3:  // the same file twice, and another one at the end of a sentence
            return {
                .arguments = fmt::format(
                    R"({{"cmd":{}}})", jsonText(fmt::format("cat '{}' \"{}\" {}.", path, path, b))),
                .loads = std::move(both)};
        default:
            return {.arguments = fmt::format(R"({{"path":{}}})", jsonText(path)), .loads = {one}};
    }
}

void Skills::write() const {
    for (const Place& place : places) {
        if (place.measured.empty()) continue;
        const std::filesystem::path path = home_ / place.measured;
        std::filesystem::create_directories(path.parent_path());
        std::ofstream file(path, std::ios::binary);
        file << textOf(place);
        file.close();
        if (!file) throw std::runtime_error("cannot write " + path.string());
    }
}

}  // namespace vantry::corpus
