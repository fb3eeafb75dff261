#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace vantry {

/// What a JSON value is. A missing key is told apart from a null, and a number without a fraction
/// that fits 64 signed bits from every other number.
enum class JsonKind { missing, null, boolean, integer, fraction, text, array, object };

/// A value of a parsed document. Cheap to copy; valid as long as the JsonDocument lives, or until
/// the JsonParser parses the next line. Any question may be asked of any kind of value: what does
/// not apply answers empty or missing.
class JsonView {
  public:
    JsonView() = default;

    JsonKind kind() const;
    bool isMissing() const { return !present_; }
    bool isNull() const { return kind() == JsonKind::null; }
    bool isObject() const { return kind() == JsonKind::object; }
    bool isArray() const { return kind() == JsonKind::array; }

    std::optional<bool> boolean() const;
    std::optional<std::int64_t> integer() const;
    /// An integer or a fraction, always finite.
    std::optional<double> number() const;
    /// UTF-8, escapes resolved.
    std::optional<std::string_view> text() const;

    /// The member of an object. The first one when a key stands twice.
    JsonView operator[](std::string_view key) const;

    /// Number of members or elements; 0 for other kinds.
    std::size_t size() const;

    /// In document order; `visit` returns false to stop.
    void forEachMember(
        const std::function<bool(std::string_view key, JsonView value)>& visit) const;
    void forEachElement(const std::function<bool(JsonView value)>& visit) const;

  private:
    friend class JsonDocument;
    friend class JsonParser;
    using Element = std::array<std::uint64_t, 2>;
    explicit JsonView(const Element& element) : element_(element), present_(true) {}

    Element element_{};
    bool present_ = false;
};

/// Parses one text after another with buffers that are kept between calls: the hot path.
/// One thread at a time.
class JsonParser {
  public:
    /// Bytes that must be readable behind the end of a text; their contents do not matter.
    static constexpr std::size_t padding = 64;

    JsonParser();
    JsonParser(JsonParser&&) noexcept;
    JsonParser& operator=(JsonParser&&) noexcept;
    ~JsonParser();

    /// Parses without a copy. Empty if the text is not one JSON document, or nests deeper than
    /// 1,024 levels. One bad value costs itself alone: a number that no double can hold is null,
    /// and U+FFFD stands for a byte that is not UTF-8 and for half of a surrogate pair. The view
    /// lives until the next call.
    std::optional<JsonView> parsePadded(std::string_view text);

    /// The same for a text without padding, which is copied.
    std::optional<JsonView> parse(std::string_view text);

    /// The same, where only short texts are wanted: of one that takes more than `longest` bytes the
    /// view knows nothing but that it is a text, and its escapes are not judged. Faster by as much
    /// as such texts fill.
    std::optional<JsonView> parseShortTexts(std::string_view text, std::size_t longest);

  private:
    struct State;
    std::unique_ptr<State> state_;
};

/// A parsed document that owns what its views refer to.
class JsonDocument {
  public:
    /// Empty under the same conditions as JsonParser.
    static std::optional<JsonDocument> parse(std::string_view text);

    JsonView root() const { return root_; }

  private:
    JsonDocument(JsonParser parser, JsonView root) : parser_(std::move(parser)), root_(root) {}

    JsonParser parser_;
    JsonView root_;
};

/// The text as a copy that outlives the document.
std::optional<std::string> ownedText(JsonView value);

/// The tolerant integer of all parsers: an integer of 64 bits, a fraction that is integral and in
/// range, or a text of an optional sign and decimal digits. A boolean is no number.
std::optional<std::int64_t> int64Value(JsonView value);

/// The tolerant fraction: any number, or a text that is a decimal number and nothing else. Never
/// infinite, never NaN.
std::optional<double> doubleValue(JsonView value);

}  // namespace vantry
