#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

namespace vantry {

/// A JSON value to be written. Objects are sorted by key.
class JsonValue {
  public:
    using Array = std::vector<JsonValue>;
    using Object = std::map<std::string, JsonValue, std::less<>>;

    JsonValue() = default;  ///< null
    JsonValue(std::nullptr_t) {}
    JsonValue(std::string text) : value_(std::move(text)) {}
    JsonValue(std::string_view text) : value_(std::string(text)) {}
    JsonValue(const char* text) : value_(std::string(text)) {}
    JsonValue(double number) : value_(number) {}
    JsonValue(Array elements) : value_(std::move(elements)) {}
    JsonValue(Object members) : value_(std::move(members)) {}
    /// A boolean stays a boolean; any other integer becomes a signed one of 64 bits.
    template <std::integral Integer>
    JsonValue(Integer number) {
        if constexpr (std::is_same_v<Integer, bool>) {
            value_ = number;
        } else {
            value_ = static_cast<std::int64_t>(number);
        }
    }

    using Storage =
        std::variant<std::nullptr_t, bool, std::int64_t, double, std::string, Array, Object>;
    const Storage& storage() const { return value_; }
    Storage& storage() { return value_; }

    /// The member of an object, or nothing.
    const JsonValue* find(std::string_view key) const;

    friend bool operator==(const JsonValue&, const JsonValue&) = default;

  private:
    Storage value_;
};

enum class JsonLayout { compact, pretty };

/// The document as UTF-8 with sorted keys and no final newline; pretty has two blanks a level.
/// A number that is not finite is written as null: it is not known. Empty if any text is not
/// UTF-8.
std::optional<std::string> writeJson(const JsonValue& value, JsonLayout layout);

}  // namespace vantry
