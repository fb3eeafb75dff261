#pragma once

#include <array>
#include <concepts>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "platform/Date.h"
#include "platform/Iso8601.h"
#include "platform/JsonReader.h"
#include "platform/JsonWriter.h"

/// Records and their JSON forms, made from one list of fields per record.
///
/// Beside a record stands `template <> struct RecordFields<Record>` with a tuple `list` of
/// field(), storedField() and shownField() entries; beside an enumeration stands
/// `template <> struct EnumTexts<Enum>` with an array `table` of (value, raw text) pairs.
namespace vantry {

/// Two forms of one record: what a person reads, and what a cache keeps.
enum class RecordForm {
    shown,   ///< dates as ISO 8601 texts, absent values as null, with derived values
    stored,  ///< dates as seconds since 2001-01-01 UTC, absent values left out
};

template <class Record, class Member>
struct Field {
    std::string_view name;
    Member Record::*member;
    bool isShown;
};

template <class Record, class Get>
struct DerivedField {
    std::string_view name;
    Get get;
};

/// A field of both forms.
template <class Record, class Member>
constexpr Field<Record, Member> field(std::string_view name, Member Record::*member) {
    return {name, member, true};
}

/// A field of the stored form alone.
template <class Record, class Member>
constexpr Field<Record, Member> storedField(std::string_view name, Member Record::*member) {
    return {name, member, false};
}

/// A value of the shown form alone, computed by `get(record)`.
template <class Record, class Get>
constexpr DerivedField<Record, Get> shownField(std::string_view name, Get get) {
    return {name, get};
}

template <class T>
struct RecordFields;
template <class T>
struct EnumTexts;

template <class T>
concept HasFields = requires {
    RecordFields<T>::list;
};
template <class T>
concept HasTexts = requires {
    EnumTexts<T>::table;
};

/// The raw text of an enumeration's value.
template <HasTexts Enum>
constexpr std::string_view rawText(Enum value) {
    for (const auto& [known, text] : EnumTexts<Enum>::table) {
        if (known == value) return text;
    }
    return {};
}

/// The value with that raw text.
template <HasTexts Enum>
constexpr std::optional<Enum> fromRawText(std::string_view text) {
    for (const auto& [known, knownText] : EnumTexts<Enum>::table) {
        if (knownText == text) return known;
    }
    return std::nullopt;
}

// Encoding. One overload a kind of value; containers and records recurse.

inline JsonValue encode(bool value, RecordForm) {
    return value;
}
template <std::integral Integer>
JsonValue encode(Integer value, RecordForm) {
    return value;
}
inline JsonValue encode(double value, RecordForm) {
    return value;
}
inline JsonValue encode(const std::string& value, RecordForm) {
    return value;
}
inline JsonValue encode(Date value, RecordForm form) {
    if (form == RecordForm::stored) return value.secondsSinceReference();
    const auto text = iso8601Text(value);
    return text ? JsonValue(*text) : JsonValue();
}
template <HasTexts Enum>
JsonValue encode(Enum value, RecordForm) {
    return rawText(value);
}
template <HasFields Record>
JsonValue encode(const Record& record, RecordForm form);
template <class T>
JsonValue encode(const std::optional<T>& value, RecordForm form);
template <class T>
JsonValue encode(const std::vector<T>& values, RecordForm form);
template <class T>
JsonValue encode(const std::map<std::string, T>& values, RecordForm form);

template <class T>
JsonValue encode(const std::optional<T>& value, RecordForm form) {
    return value ? encode(*value, form) : JsonValue();
}
template <class T>
JsonValue encode(const std::vector<T>& values, RecordForm form) {
    JsonValue::Array elements;
    elements.reserve(values.size());
    for (const T& value : values) elements.push_back(encode(value, form));
    return elements;
}
template <class T>
JsonValue encode(const std::map<std::string, T>& values, RecordForm form) {
    JsonValue::Object members;
    for (const auto& [key, value] : values) members.emplace(key, encode(value, form));
    return members;
}

template <class Record, class Member>
void encodeField(const Field<Record, Member>& entry, const Record& record, RecordForm form,
                 JsonValue::Object& members) {
    if (form == RecordForm::shown && !entry.isShown) return;
    JsonValue value = encode(record.*entry.member, form);
    const bool isAbsent = std::holds_alternative<std::nullptr_t>(value.storage());
    if (form == RecordForm::stored && isAbsent) return;
    members.insert_or_assign(std::string(entry.name), std::move(value));
}

template <class Record, class Get>
void encodeField(const DerivedField<Record, Get>& entry, const Record& record, RecordForm form,
                 JsonValue::Object& members) {
    if (form != RecordForm::shown) return;
    members.insert_or_assign(std::string(entry.name), encode(entry.get(record), form));
}

template <HasFields Record>
JsonValue encode(const Record& record, RecordForm form) {
    JsonValue::Object members;
    std::apply([&](const auto&... entry) { (encodeField(entry, record, form, members), ...); },
               RecordFields<Record>::list);
    return members;
}

// Decoding of the stored form. Each returns false, and leaves `into` in an unspecified state, when
// the value is of another kind or a required member is missing. Unknown members are ignored.

inline bool decode(JsonView value, bool& into) {
    const auto flag = value.boolean();
    if (flag) into = *flag;
    return flag.has_value();
}
template <std::integral Integer>
bool decode(JsonView value, Integer& into) {
    const auto number = value.integer();
    if (!number || !std::in_range<Integer>(*number)) return false;
    into = static_cast<Integer>(*number);
    return true;
}
inline bool decode(JsonView value, double& into) {
    const auto number = value.number();
    if (number) into = *number;
    return number.has_value();
}
inline bool decode(JsonView value, std::string& into) {
    const auto text = value.text();
    if (text) into = *text;
    return text.has_value();
}
inline bool decode(JsonView value, Date& into) {
    const auto seconds = value.number();
    if (seconds) into = Date::fromReference(*seconds);
    return seconds.has_value();
}
template <HasTexts Enum>
bool decode(JsonView value, Enum& into) {
    const auto text = value.text();
    const auto known = text ? fromRawText<Enum>(*text) : std::nullopt;
    if (known) into = *known;
    return known.has_value();
}
template <HasFields Record>
bool decode(JsonView value, Record& into);
template <class T>
bool decode(JsonView value, std::optional<T>& into);
template <class T>
bool decode(JsonView value, std::vector<T>& into);
template <class T>
bool decode(JsonView value, std::map<std::string, T>& into);

template <class T>
bool decode(JsonView value, std::optional<T>& into) {
    into.reset();
    if (value.isMissing() || value.isNull()) return true;
    return decode(value, into.emplace());
}
template <class T>
bool decode(JsonView value, std::vector<T>& into) {
    into.clear();
    bool good = value.isArray();
    value.forEachElement([&](JsonView element) {
        good = decode(element, into.emplace_back());
        return good;
    });
    return good;
}
template <class T>
bool decode(JsonView value, std::map<std::string, T>& into) {
    into.clear();
    bool good = value.isObject();
    value.forEachMember([&](std::string_view key, JsonView member) {
        good = decode(member, into[std::string(key)]);
        return good;
    });
    return good;
}

template <class Record, class Member>
bool decodeField(const Field<Record, Member>& entry, JsonView value, Record& into) {
    return decode(value[entry.name], into.*entry.member);
}
template <class Record, class Get>
bool decodeField(const DerivedField<Record, Get>&, JsonView, Record&) {
    return true;
}

template <HasFields Record>
bool decode(JsonView value, Record& into) {
    if (!value.isObject()) return false;
    return std::apply(
        [&](const auto&... entry) { return (decodeField(entry, value, into) && ...); },
        RecordFields<Record>::list);
}

}  // namespace vantry
