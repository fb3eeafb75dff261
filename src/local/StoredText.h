#pragma once

#include <algorithm>
#include <array>
#include <charconv>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include "platform/Base64.h"
#include "platform/RecordFields.h"

namespace vantry {

/// Writes the stored form of records behind a text: the bytes of a compact writeJson() of their
/// encode(), without a tree in between, which would cost more than all else for a document of many
/// megabytes.
class StoredTextWriter {
  public:
    explicit StoredTextWriter(std::string& text) : text_(text) {}

    /// False once a text was not UTF-8; what has been written is then no JSON.
    bool isGood() const { return isGood_; }

    void write(bool value) { text_ += value ? "true" : "false"; }

    template <std::integral Integer>
    void write(Integer value) {
        std::array<char, 24> digits{};
        const auto end =
            std::to_chars(digits.begin(), digits.end(), static_cast<std::int64_t>(value));
        text_.append(digits.data(), end.ptr);
    }

    void write(double value) { writeAsTree(value); }
    void write(Date value) { writeAsTree(value.secondsSinceReference()); }

    void write(const std::string& value) {
        const bool isPlain = std::all_of(value.begin(), value.end(), [](char byte) {
            return byte >= ' ' && byte < '\x7F' && byte != '"' && byte != '\\';
        });
        if (!isPlain) return writeAsTree(value);
        text_.append(1, '"').append(value).append(1, '"');
    }

    template <HasTexts Enum>
    void write(Enum value) {
        write(std::string(rawText(value)));
    }

    /// As base64.
    void writeBytes(std::string_view bytes) {
        text_.append(1, '"').append(base64Text(bytes)).append(1, '"');
    }

    void writeBytesByName(const std::map<std::string, std::string>& values) {
        text_ += '{';
        const std::size_t start = text_.size();
        for (const auto& [name, bytes] : values) {
            separate(start);
            write(name);
            text_ += ':';
            writeBytes(bytes);
        }
        text_ += '}';
    }

    template <class T>
    void write(const std::vector<T>& values) {
        text_ += '[';
        const std::size_t start = text_.size();
        for (const T& value : values) {
            separate(start);
            write(value);
        }
        text_ += ']';
    }

    template <class T>
    void write(const std::map<std::string, T>& values) {
        text_ += '{';
        const std::size_t start = text_.size();
        for (const auto& [key, value] : values) {
            separate(start);
            write(key);
            text_ += ':';
            write(value);
        }
        text_ += '}';
    }

    template <HasFields Record>
    void write(const Record& record) {
        text_ += '{';
        const std::size_t start = text_.size();
        for (const auto& member : sortedMembers<Record>) member.write(*this, record, start);
        text_ += '}';
    }

    /// A member of an object whose members begin at `start`; nothing for an absent value.
    template <class T>
    void writeMember(std::string_view name, const T& value, std::size_t start) {
        writeName(name, start);
        write(value);
    }
    template <class T>
    void writeMember(std::string_view name, const std::optional<T>& value, std::size_t start) {
        if (value) writeMember(name, *value, start);
    }
    void writeName(std::string_view name, std::size_t start) {
        separate(start);
        text_.append(1, '"').append(name).append("\":");
    }

  private:
    template <class Record>
    struct Member {
        std::string_view name;
        void (*write)(StoredTextWriter&, const Record&, std::size_t start);
    };

    template <class Record, std::size_t Index>
    static void writeFieldAt(StoredTextWriter& writer, const Record& record, std::size_t start) {
        writeField(writer, std::get<Index>(RecordFields<Record>::list), record, start);
    }

    template <class Record, std::size_t... Index>
    static constexpr auto sorted(std::index_sequence<Index...> /*indices*/) {
        std::array<Member<Record>, sizeof...(Index)> members{Member<Record>{
            std::get<Index>(RecordFields<Record>::list).name, writeFieldAt<Record, Index>}...};
        std::sort(members.begin(), members.end(),
                  [](const auto& a, const auto& b) { return a.name < b.name; });
        return members;
    }

    template <class Record>
    static constexpr auto sortedMembers = sorted<Record>(
        std::make_index_sequence<
            std::tuple_size_v<std::remove_const_t<decltype(RecordFields<Record>::list)>>>());

    void separate(std::size_t start) {
        if (text_.size() > start) text_ += ',';
    }

    void writeAsTree(const JsonValue& value) {
        const auto written = writeJson(value, JsonLayout::compact);
        isGood_ = isGood_ && written;
        if (written) text_ += *written;
    }

    std::string& text_;
    bool isGood_ = true;
};

template <class Record, class MemberType>
void writeField(StoredTextWriter& writer, const Field<Record, MemberType>& entry,
                const Record& record, std::size_t start) {
    writer.writeMember(entry.name, record.*entry.member, start);
}
template <class Record, class Get>
void writeField(StoredTextWriter&, const DerivedField<Record, Get>&, const Record&, std::size_t) {}

}  // namespace vantry
