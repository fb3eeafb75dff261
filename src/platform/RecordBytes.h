#pragma once

#include <array>
#include <bit>
#include <concepts>
#include <cstdint>
#include <cstring>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "platform/RecordFields.h"

/// Records as few bytes, from the same lists of fields as their JSON forms: each value behind the
/// one before, without names. Whoever keeps them keeps a version beside them.
namespace vantry {

/// Writes behind a text.
class RecordBytesWriter {
  public:
    explicit RecordBytesWriter(std::string& bytes) : bytes_(bytes) {}

    void write(bool value) { bytes_.push_back(value ? '\1' : '\0'); }

    /// Small numbers of either sign take few bytes.
    template <std::integral Integer>
    void write(Integer value) {
        const auto number = static_cast<std::int64_t>(value);
        writeVarint((static_cast<std::uint64_t>(number) << 1) ^
                    static_cast<std::uint64_t>(number >> 63));
    }

    void write(double value) { writeFixed(std::bit_cast<std::uint64_t>(value)); }
    void write(Date value) { write(value.secondsSince1970()); }

    void write(const std::string& value) {
        writeVarint(value.size());
        bytes_ += value;
    }

    template <class Enum>
    requires std::is_enum_v<Enum>
    void write(Enum value) { write(static_cast<std::int64_t>(value)); }

    template <class T>
    void write(const std::optional<T>& value) {
        write(value.has_value());
        if (value) write(*value);
    }

    template <class T>
    void write(const std::vector<T>& values) {
        writeVarint(values.size());
        for (const T& value : values) write(value);
    }

    template <class T, std::size_t size>
    void write(const std::array<T, size>& values) {
        for (const T& value : values) write(value);
    }

    template <class Key, class T>
    void write(const std::map<Key, T>& values) {
        writeVarint(values.size());
        for (const auto& [key, value] : values) {
            write(key);
            write(value);
        }
    }

    template <HasFields Record>
    void write(const Record& record) {
        writeMembers(record, RecordFields<Record>::list);
    }

    /// These members of a record alone.
    template <class Record, class... Entries>
    void writeMembers(const Record& record, const std::tuple<Entries...>& list) {
        std::apply([&](const auto&... entry) { (writeEntry(record, entry), ...); }, list);
    }

  private:
    template <class Record, class Entry>
    void writeEntry(const Record& record, const Entry& entry) {
        if constexpr (requires { entry.member; }) write(record.*entry.member);
    }

    void writeVarint(std::uint64_t value) {
        for (; value >= 0x80; value >>= 7) bytes_.push_back(static_cast<char>(value | 0x80));
        bytes_.push_back(static_cast<char>(value));
    }

    void writeFixed(std::uint64_t value) {
        char fixed[sizeof value];
        std::memcpy(fixed, &value, sizeof value);
        bytes_.append(fixed, sizeof fixed);
    }

    std::string& bytes_;
};

/// Reads from the front. Bytes that end too early or say what cannot be leave it not good, and
/// values in an unspecified state.
class RecordBytesReader {
  public:
    explicit RecordBytesReader(std::string_view bytes) : bytes_(bytes) {}

    /// Whether all was there and nothing is left.
    bool isDone() const { return isGood_ && bytes_.empty(); }
    bool isGood() const { return isGood_; }

    void read(bool& into) {
        isGood_ = isGood_ && !bytes_.empty() && static_cast<unsigned char>(bytes_.front()) <= 1;
        if (!isGood_) return;
        into = bytes_.front() == '\1';
        bytes_.remove_prefix(1);
    }

    template <std::integral Integer>
    void read(Integer& into) {
        const std::uint64_t raw = readVarint();
        const auto number = static_cast<std::int64_t>((raw >> 1) ^ (~(raw & 1) + 1));
        if constexpr (sizeof(Integer) < sizeof number) {
            isGood_ = isGood_ && std::in_range<Integer>(number);
        }
        into = static_cast<Integer>(number);
    }

    void read(double& into) {
        std::uint64_t value = 0;
        isGood_ = isGood_ && bytes_.size() >= sizeof value;
        if (!isGood_) return;
        std::memcpy(&value, bytes_.data(), sizeof value);
        bytes_.remove_prefix(sizeof value);
        into = std::bit_cast<double>(value);
    }

    void read(Date& into) {
        double seconds = 0;
        read(seconds);
        into = Date(seconds);
    }

    void read(std::string& into) {
        const std::size_t size = readCount();
        if (!isGood_) return;
        into.assign(bytes_.substr(0, size));
        bytes_.remove_prefix(size);
    }

    /// An enumeration with a table must have the value in it.
    template <class Enum>
    requires std::is_enum_v<Enum>
    void read(Enum& into) {
        std::int64_t number = 0;
        read(number);
        into = static_cast<Enum>(number);
        if constexpr (HasTexts<Enum>) isGood_ = isGood_ && !rawText(into).empty();
    }

    template <class T>
    void read(std::optional<T>& into) {
        bool hasValue = false;
        read(hasValue);
        into.reset();
        if (isGood_ && hasValue) read(into.emplace());
    }

    template <class T>
    void read(std::vector<T>& into) {
        std::size_t count = readCount();
        into.clear();
        if (isGood_) into.reserve(count);
        for (; isGood_ && count > 0; --count) read(into.emplace_back());
    }

    template <class T, std::size_t size>
    void read(std::array<T, size>& into) {
        for (T& value : into) read(value);
    }

    template <class Key, class T>
    void read(std::map<Key, T>& into) {
        std::size_t count = readCount();
        into.clear();
        for (; isGood_ && count > 0; --count) {
            Key key;
            read(key);
            read(into.try_emplace(into.end(), std::move(key))->second);
        }
    }

    template <HasFields Record>
    void read(Record& into) {
        readMembers(into, RecordFields<Record>::list);
    }

    template <class Record, class... Entries>
    void readMembers(Record& into, const std::tuple<Entries...>& list) {
        std::apply([&](const auto&... entry) { (readEntry(into, entry), ...); }, list);
    }

  private:
    template <class Record, class Entry>
    void readEntry(Record& into, const Entry& entry) {
        if constexpr (requires { entry.member; }) {
            if (isGood_) read(into.*entry.member);
        }
    }

    std::uint64_t readVarint() {
        std::uint64_t value = 0;
        for (unsigned shift = 0; shift < 64 && !bytes_.empty(); shift += 7) {
            const auto byte = static_cast<unsigned char>(bytes_.front());
            bytes_.remove_prefix(1);
            if (shift == 63 && byte > 1) break;
            value |= std::uint64_t{byte & 0x7FU} << shift;
            if (byte < 0x80) return value;
        }
        isGood_ = false;
        return 0;
    }

    // Each of what is counted takes a byte at least, so that no number can ask for much memory.
    std::size_t readCount() {
        const std::uint64_t count = readVarint();
        isGood_ = isGood_ && count <= bytes_.size();
        return isGood_ ? static_cast<std::size_t>(count) : 0;
    }

    std::string_view bytes_;
    bool isGood_ = true;
};

template <class Value>
std::string recordBytes(const Value& record) {
    std::string bytes;
    RecordBytesWriter(bytes).write(record);
    return bytes;
}

/// The record, or nothing unless the bytes hold exactly one.
template <class Value>
std::optional<Value> recordOfBytes(std::string_view bytes) {
    RecordBytesReader reader(bytes);
    std::optional<Value> record(std::in_place);
    reader.read(*record);
    if (!reader.isDone()) record.reset();
    return record;
}

}  // namespace vantry
