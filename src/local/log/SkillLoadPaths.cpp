#include "local/log/SkillLoadPaths.h"

#include <algorithm>
#include <unordered_set>
#include <utility>

#include "platform/Text.h"

namespace vantry::CodexUsageReader {

namespace {

constexpr std::size_t mostPaths = 1'024;
constexpr int deepestContainer = 64;
constexpr int deepestText = 8;

// What a shell takes off a word: "SKILL".md is SKILL.md.
constexpr std::string_view quotesAndBackslash = "\\'\"`";
constexpr std::string_view delimiters = "<>,;()[]{}|&=";
// The delimiters that are no surprise within a path.
constexpr std::string_view pathDelimiters = ",()[]{}=";

bool isQuote(char c) {
    return c == '\'' || c == '"' || c == '`';
}

bool beginsPath(std::string_view text) {
    return text.starts_with('/') || text.starts_with("~/");
}

// The bytes of the one white space character that the text begins with; 0 if it begins with none.
std::size_t spaceSize(std::string_view text) {
    const auto first = static_cast<unsigned char>(text.front());
    if (first < 0x80) return first == ' ' || (first >= '\t' && first <= '\r') ? 1 : 0;
    if (first != 0xC2 && (first < 0xE1 || first > 0xE3)) return 0;
    const std::string_view character = text.substr(0, first == 0xC2 ? 2 : 3);
    return trimmed(character).empty() ? character.size() : 0;
}

// Whether the name goes on behind its first letter at `at`, quotes and backslashes aside.
bool nameGoesOn(std::string_view bytes, std::size_t at) {
    for (const char letter : std::string_view("KILL.")) {
        if (at >= bytes.size() || bytes[at] != letter) return false;
        at = bytes.find_first_not_of(quotesAndBackslash, at + 1);
    }
    return at < bytes.size() && bytes.substr(at).starts_with("md");
}

// Whether JSON in the bytes may write a letter, a quote or a backslash by its number.
bool holdsEscapedLetter(std::string_view bytes) {
    // Zeros are looked for first: backslashes are everywhere in JSON.
    constexpr std::string_view zeros = "00";
    for (std::size_t at = bytes.find(zeros); at != bytes.npos; at = bytes.find(zeros, at + 1)) {
        const std::string_view number = bytes.substr(at + zeros.size(), 1);
        if (bytes.substr(0, at).ends_with("\\u") && number >= "2" && number <= "7") return true;
    }
    return false;
}

/// A word of a command, with its quotes taken off.
struct Word {
    std::string text;
    bool hasQuoted = false;
    bool hasUnquoted = false;
};

class WordScanner {
  public:
    explicit WordScanner(std::string_view text) : text_(text) {}

    /// The next word, which may be empty; nothing at the end. A last word whose quote is never
    /// closed is left out.
    std::optional<Word> next();

  private:
    void takeEscape(Word& word);
    // The bytes that end the word here, outside quotes; 0 if it goes on.
    std::size_t endSize(const Word& word) const;

    std::string_view text_;
    std::size_t at_ = 0;
    char quote_ = 0;  // the open one
};

std::optional<Word> WordScanner::next() {
    if (at_ >= text_.size()) return std::nullopt;
    Word word;
    while (at_ < text_.size()) {
        const char c = text_[at_];
        if (c == '\\' && quote_ != '\'') {
            takeEscape(word);
        } else if (quote_ != 0 ? c == quote_ : isQuote(c)) {
            quote_ = quote_ == 0 ? c : '\0';
            word.hasQuoted = true;
            ++at_;
        } else if (const std::size_t end = quote_ == 0 ? endSize(word) : 0) {
            at_ += end;
            return word;
        } else {
            word.text += c;
            word.hasUnquoted = word.hasUnquoted || quote_ == 0;
            ++at_;
        }
    }
    if (quote_ != 0) return std::nullopt;
    return word;
}

void WordScanner::takeEscape(Word& word) {
    const std::string_view behind = text_.substr(at_ + 1);
    ++at_;
    if (behind.empty()) return;
    const std::size_t space = spaceSize(behind);
    const bool isEscape = behind.front() == '\\' || space > 0 ||
                          (quote_ != '"' && delimiters.find(behind.front()) != delimiters.npos);
    if (!isEscape) word.text += '\\';
    const std::size_t size = std::max<std::size_t>(space, 1);
    word.text += behind.substr(0, size);
    word.hasUnquoted = word.hasUnquoted || quote_ == 0;
    at_ += size;
}

std::size_t WordScanner::endSize(const Word& word) const {
    const char c = text_[at_];
    if (delimiters.find(c) == delimiters.npos) return spaceSize(text_.substr(at_));
    const bool isInPath =
        pathDelimiters.find(c) != pathDelimiters.npos && word.hasUnquoted && beginsPath(word.text);
    return isInPath ? 0 : 1;
}

class PathCollector {
  public:
    /// Where a value stands.
    struct Place {
        bool isPath = false;
        int containers = 0;
        int texts = 0;

        Place inContainer(bool path) const {
            return {.isPath = path, .containers = containers + 1, .texts = texts};
        }
        Place inText() const { return {.containers = containers, .texts = texts + 1}; }
    };

    void takeValue(JsonView value, const Place& place);
    void takeCommand(std::string_view text, const Place& place);

    std::vector<std::string> paths;

  private:
    void takeMembers(JsonView object, const Place& place);
    void takeText(std::string_view text, const Place& place);
    void takePath(std::string_view text);
    bool isFull() const { return paths.size() == mostPaths; }

    std::unordered_set<std::string> known_;
};

void PathCollector::takeValue(JsonView value, const Place& place) {
    if (place.containers > deepestContainer || isFull()) return;
    if (value.isObject()) {
        takeMembers(value, place);
    } else if (value.isArray()) {
        value.forEachElement([&](JsonView element) {
            takeValue(element, place.inContainer(place.isPath));
            return !isFull();
        });
    } else if (const auto text = value.text()) {
        takeText(*text, place);
    }
}

void PathCollector::takeMembers(JsonView object, const Place& place) {
    for (const char* key : {"arguments", "input", "cmd", "command", "path"}) {
        takeValue(object[key], place.inContainer(key == std::string_view("path")));
    }
}

void PathCollector::takeText(std::string_view text, const Place& place) {
    if (place.isPath) return takePath(text);
    if (place.texts >= deepestText || !mayNameSkillFile(text)) return;
    if (const auto document = JsonDocument::parse(text)) {
        takeValue(document->root(), place.inText());
    } else {
        takeCommand(text, place);
    }
}

void PathCollector::takeCommand(std::string_view text, const Place& place) {
    if (place.texts >= deepestText || !mayNameSkillFile(text)) return;
    WordScanner words(text);
    while (const auto word = words.next()) {
        if (isFull()) return;
        if (beginsPath(word->text)) {
            takePath(word->text);
        } else if (word->hasQuoted) {
            takeCommand(word->text, place.inText());
        }
    }
}

void PathCollector::takePath(std::string_view text) {
    auto path = canonicalSkillPath(text);
    if (path && known_.insert(*path).second) paths.push_back(*std::move(path));
}

}  // namespace

bool mayNameSkillFile(std::string_view bytes) {
    // The second letter is looked for first: it is the rarest one in commands and programs.
    for (std::size_t at = bytes.find('K'); at != bytes.npos; at = bytes.find('K', at + 1)) {
        const std::size_t before =
            at == 0 ? bytes.npos : bytes.find_last_not_of(quotesAndBackslash, at - 1);
        if (before != bytes.npos && bytes[before] == 'S' && nameGoesOn(bytes, at)) return true;
    }
    return holdsEscapedLetter(bytes);
}

std::vector<std::string> skillLoadPaths(JsonView arguments) {
    PathCollector collector;
    collector.takeValue(arguments, {});
    return std::move(collector.paths);
}

std::vector<std::string> extractSkillPaths(std::string_view text) {
    PathCollector collector;
    collector.takeCommand(text, {});
    return std::move(collector.paths);
}

std::optional<std::string> canonicalSkillPath(std::string_view text) {
    text = trimmed(text);
    if (text.size() >= 2 && isQuote(text.front()) && text.front() == text.back()) {
        text = text.substr(1, text.size() - 2);
    }
    const std::size_t last = text.find_last_not_of(";,.)]");
    text = text.substr(0, last == text.npos ? 0 : last + 1);
    if (!beginsPath(text) || !text.ends_with("/SKILL.md")) return std::nullopt;
    return std::string(text);
}

}  // namespace vantry::CodexUsageReader
