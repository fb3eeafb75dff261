#include "platform/JsonReader.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>
#include <simdjson.h>
#include <utility>

#include "platform/Text.h"

namespace vantry {

namespace dom = simdjson::dom;

static_assert(JsonParser::padding >= simdjson::SIMDJSON_PADDING);

namespace {

dom::element elementOf(const std::array<std::uint64_t, 2>& stored) {
    static_assert(sizeof(dom::element) == sizeof(stored));
    static_assert(std::is_trivially_copyable_v<dom::element>);
    return std::bit_cast<dom::element>(stored);
}

std::array<std::uint64_t, 2> stored(dom::element element) {
    return std::bit_cast<std::array<std::uint64_t, 2>>(element);
}

// The number as the parser can take it: an integer beyond 64 bits becomes a fraction, and what no
// double can hold becomes null.
std::string tamed(std::string_view number) {
    const bool isIntegral = number.find_first_of(".eE") == std::string_view::npos;
    const char* const end = number.data() + number.size();
    std::uint64_t magnitude = 0;
    const bool isNegative = number.front() == '-';
    if (isIntegral &&
        std::from_chars(number.data() + (isNegative ? 1 : 0), end, magnitude).ec == std::errc() &&
        (!isNegative || magnitude <= std::uint64_t{1} << 63)) {
        return std::string(number);
    }
    double value = 0;
    const bool isOutOfRange =
        std::from_chars(number.data(), end, value).ec == std::errc::result_out_of_range;
    // A number too close to zero is out of range as well, and is fine.
    if (isOutOfRange && number.find("e-") == std::string_view::npos &&
        number.find("E-") == std::string_view::npos) {
        return "null";
    }
    return std::string(number) + (isIntegral ? ".0" : "");
}

// The parser refuses a document for one number out of its range. This makes such a number cost only
// itself.
std::string withTamedNumbers(std::string_view text) {
    constexpr std::string_view numberBytes = "0123456789+-.eE";
    std::string result;
    result.reserve(text.size() + 64);
    bool inString = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (!inString && (c == '-' || (c >= '0' && c <= '9'))) {
            const std::size_t end = std::min(text.find_first_not_of(numberBytes, i), text.size());
            result += tamed(text.substr(i, end - i));
            i = end - 1;
            continue;
        }
        result.push_back(c);
        if (inString && c == '\\' && i + 1 < text.size()) result.push_back(text[++i]);
        if (c == '"') inString = !inString;
    }
    return result;
}

// The half of a surrogate pair that the escape at the front is: 0xD800 or 0xDC00; 0 for another
// character.
unsigned halfOfPair(std::string_view escape) {
    unsigned unit = 0;
    if (escape.size() < 6 || escape[0] != '\\' || escape[1] != 'u') return 0;
    const char* const end = escape.data() + 6;
    if (std::from_chars(escape.data() + 2, end, unit, 16).ptr != end) return 0;
    const unsigned half = unit & 0xFC00U;
    return half == 0xD800 || half == 0xDC00 ? half : 0;
}

// Half of a pair stands for no character. JavaScript writes one where a text was cut in the middle
// of an emoji.
std::string withWholePairs(std::string_view text) {
    constexpr std::size_t length = 6;  // of an escape
    std::string result;
    result.reserve(text.size());
    while (!text.empty()) {
        std::size_t taken = std::min(text.find('\\'), text.size());
        if (taken == 0) taken = std::min<std::size_t>(2, text.size());
        const unsigned half = halfOfPair(text);
        if (half == 0xD800 && halfOfPair(text.substr(length)) == 0xDC00) {
            taken = 2 * length;
        } else if (half != 0) {
            result += "\\uFFFD";
            text.remove_prefix(length);
            continue;
        }
        result += text.substr(0, taken);
        text.remove_prefix(taken);
    }
    return result;
}

// The text without what the parser stumbled over; nothing where it is no JSON.
std::optional<std::string> repaired(std::string_view text, simdjson::error_code error) {
    if (error == simdjson::NUMBER_ERROR) return withTamedNumbers(text);
    if (error == simdjson::UTF8_ERROR) return validUtf8(text);
    if (error == simdjson::STRING_ERROR) return withWholePairs(text);
    return std::nullopt;
}

// Where the JSON text that begins behind `at` ends: its closing quote, or the end of all.
std::size_t closingQuote(std::string_view json, std::size_t at) {
    for (std::size_t quote = json.find('"', at); quote != json.npos;
         quote = json.find('"', quote + 1)) {
        std::size_t backslashes = 0;
        while (quote - backslashes > at && json[quote - backslashes - 1] == '\\') ++backslashes;
        if (backslashes % 2 == 0) return quote;
    }
    return json.size();
}

// Appends the JSON without what stands in its long texts.
void appendShortTexts(std::string_view json, std::size_t longest, std::string& result) {
    while (!json.empty()) {
        const std::size_t open = std::min(json.find('"'), json.size());
        result.append(json.substr(0, open));
        json.remove_prefix(open);
        if (json.empty()) return;
        const std::size_t close = closingQuote(json, 1);
        if (close - 1 <= longest) {
            result.append(json.substr(0, close + 1));
        } else {
            result.append(close == json.size() ? "\"" : "\"\"");
        }
        json.remove_prefix(std::min(close + 1, json.size()));
    }
}

// Bytes that no JSON text may hold.
bool holdsControls(std::string_view json) {
    unsigned char any = 0;
    for (const char byte : json) any |= static_cast<unsigned char>(byte) < 0x20 ? 1 : 0;
    return any != 0;
}

}  // namespace

JsonKind JsonView::kind() const {
    if (!present_) return JsonKind::missing;
    switch (elementOf(element_).type()) {
        case dom::element_type::NULL_VALUE:
            return JsonKind::null;
        case dom::element_type::BOOL:
            return JsonKind::boolean;
        case dom::element_type::INT64:
            return JsonKind::integer;
        case dom::element_type::UINT64:  // only used for what does not fit a signed integer
        case dom::element_type::DOUBLE:
            return JsonKind::fraction;
        case dom::element_type::STRING:
            return JsonKind::text;
        case dom::element_type::ARRAY:
            return JsonKind::array;
        case dom::element_type::OBJECT:
            return JsonKind::object;
    }
    return JsonKind::missing;
}

std::optional<bool> JsonView::boolean() const {
    if (kind() != JsonKind::boolean) return std::nullopt;
    return elementOf(element_).get_bool().value_unsafe();
}

std::optional<std::int64_t> JsonView::integer() const {
    if (kind() != JsonKind::integer) return std::nullopt;
    return elementOf(element_).get_int64().value_unsafe();
}

std::optional<double> JsonView::number() const {
    const JsonKind is = kind();
    if (is != JsonKind::integer && is != JsonKind::fraction) return std::nullopt;
    return elementOf(element_).get_double().value_unsafe();
}

std::optional<std::string_view> JsonView::text() const {
    if (kind() != JsonKind::text) return std::nullopt;
    return elementOf(element_).get_string().value_unsafe();
}

JsonView JsonView::operator[](std::string_view key) const {
    if (kind() != JsonKind::object) return {};
    dom::element found;
    if (elementOf(element_).get_object().value_unsafe().at_key(key).get(found) !=
        simdjson::SUCCESS) {
        return {};
    }
    return JsonView(stored(found));
}

std::size_t JsonView::size() const {
    std::size_t count = 0;
    forEachElement([&](JsonView) { return ++count != 0; });
    forEachMember([&](std::string_view, JsonView) { return ++count != 0; });
    return count;
}

void JsonView::forEachMember(const std::function<bool(std::string_view, JsonView)>& visit) const {
    if (kind() != JsonKind::object) return;
    const dom::object members = elementOf(element_).get_object().value_unsafe();
    for (const auto member : members) {
        if (!visit(member.key, JsonView(stored(member.value)))) return;
    }
}

void JsonView::forEachElement(const std::function<bool(JsonView)>& visit) const {
    if (kind() != JsonKind::array) return;
    const dom::array elements = elementOf(element_).get_array().value_unsafe();
    for (const dom::element element : elements) {
        if (!visit(JsonView(stored(element)))) return;
    }
}

struct JsonParser::State {
    dom::parser parser;
    std::string copy;
};

JsonParser::JsonParser() : state_(std::make_unique<State>()) {}
JsonParser::JsonParser(JsonParser&&) noexcept = default;
JsonParser& JsonParser::operator=(JsonParser&&) noexcept = default;
JsonParser::~JsonParser() = default;

std::optional<JsonView> JsonParser::parsePadded(std::string_view text) {
    dom::element root;
    const auto attempt = [&](std::string_view padded) {
        return state_->parser.parse(padded.data(), padded.size(), false).get(root);
    };
    simdjson::error_code error = attempt(text);
    // What is repaired is no error again, and there are three kinds.
    std::string sound;
    for (int repairs = 0; error != simdjson::SUCCESS && repairs < 3; ++repairs) {
        auto better = repaired(text, error);
        if (!better) return std::nullopt;
        sound = *std::move(better);
        const std::size_t size = sound.size();
        sound.append(padding, ' ');
        text = std::string_view(sound).substr(0, size);
        error = attempt(text);
    }
    if (error != simdjson::SUCCESS) return std::nullopt;
    return JsonView(stored(root));
}

std::optional<JsonView> JsonParser::parse(std::string_view text) {
    state_->copy.assign(text);
    state_->copy.append(padding, ' ');
    return parsePadded(std::string_view(state_->copy).substr(0, text.size()));
}

std::optional<JsonView> JsonParser::parseShortTexts(std::string_view text, std::size_t longest) {
    if (holdsControls(text)) return parse(text);
    if (!simdjson::validate_utf8(text.data(), text.size())) {
        return parseShortTexts(validUtf8(text), longest);
    }
    state_->copy.clear();
    appendShortTexts(text, longest, state_->copy);
    const std::size_t size = state_->copy.size();
    state_->copy.append(padding, ' ');
    return parsePadded(std::string_view(state_->copy).substr(0, size));
}

std::optional<JsonDocument> JsonDocument::parse(std::string_view text) {
    JsonParser parser;
    const auto root = parser.parse(text);
    if (!root) return std::nullopt;
    return JsonDocument(std::move(parser), *root);
}

std::optional<std::string> ownedText(JsonView value) {
    const auto text = value.text();
    return text ? std::optional<std::string>(*text) : std::nullopt;
}

std::optional<std::int64_t> int64Value(JsonView value) {
    if (const auto integer = value.integer()) return integer;
    if (const auto fraction = value.number()) {
        constexpr double bound = 9'223'372'036'854'775'808.0;  // 2^63
        if (std::trunc(*fraction) != *fraction || *fraction < -bound || *fraction >= bound) {
            return std::nullopt;
        }
        return static_cast<std::int64_t>(*fraction);
    }
    const auto text = value.text();
    if (!text || text->empty()) return std::nullopt;
    std::string_view digits = *text;
    if (digits.front() == '+') digits.remove_prefix(1);
    if (digits.empty() || digits.front() == '+' || (text->front() == '+' && digits.front() == '-'))
        return std::nullopt;
    std::int64_t result = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), result);
    if (error != std::errc() || end != digits.data() + digits.size()) return std::nullopt;
    return result;
}

std::optional<double> doubleValue(JsonView value) {
    if (const auto number = value.number()) return number;
    const auto text = value.text();
    if (!text || text->empty()) return std::nullopt;
    std::string_view digits = *text;
    if (digits.front() == '+') digits.remove_prefix(1);
    if (digits.empty() || (text->front() == '+' && digits.front() == '-')) return std::nullopt;
    double result = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), result);
    if (error != std::errc() || end != digits.data() + digits.size() || !std::isfinite(result)) {
        return std::nullopt;
    }
    return result;
}

}  // namespace vantry
