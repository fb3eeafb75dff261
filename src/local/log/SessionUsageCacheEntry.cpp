#include "local/log/SessionUsageCacheEntry.h"

#include <algorithm>
#include <limits>
#include <string_view>

#include "platform/Compression.h"
#include "statistics/LocalModelUsageAccumulator.h"

namespace vantry {

namespace {

constexpr std::size_t longestVarint = 10;  // bytes, for 64 bits

void appendVarint(std::string& bytes, std::uint64_t value) {
    for (; value >= 0x80; value >>= 7) bytes.push_back(static_cast<char>(value | 0x80));
    bytes.push_back(static_cast<char>(value));
}

/// The number at the front, which is removed; nothing for one that is cut or beyond 64 bits.
std::optional<std::uint64_t> takeVarint(std::string_view& bytes) {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < std::min(bytes.size(), longestVarint); ++i) {
        const auto byte = static_cast<unsigned char>(bytes[i]);
        if (i + 1 == longestVarint && byte > 1) return std::nullopt;
        value |= std::uint64_t{byte & 0x7FU} << (7 * i);
        if (byte < 0x80) {
            bytes.remove_prefix(i + 1);
            return value;
        }
    }
    return std::nullopt;
}

/// Hands each line number to `visit`; false for bytes that do not hold exactly `count` of them.
template <class Visit>
bool walkOrdinals(const SessionReadingTrailStorage& storage, std::int64_t count, Visit visit) {
    if (count < 0 || storage.byteCount < count) return false;
    const auto size = static_cast<std::size_t>(storage.byteCount);
    if (size / longestVarint > static_cast<std::size_t>(count)) return false;
    std::string_view bytes = storage.ordinals;
    std::optional<std::string> unpacked;
    if (storage.isCompressed) {
        unpacked = decompressed(bytes, size);
        if (!unpacked) return false;
        bytes = *unpacked;
    }
    if (bytes.size() != size) return false;
    std::uint64_t ordinal = 0;
    for (std::int64_t i = 0; i < count; ++i) {
        const auto gap = takeVarint(bytes);
        constexpr std::uint64_t highest = std::numeric_limits<std::int64_t>::max();
        if (!gap || *gap > highest - ordinal) return false;
        ordinal += *gap;
        visit(static_cast<std::int64_t>(ordinal));
    }
    return bytes.empty();
}

bool areCorrections(const std::vector<SessionReadingTrail::Correction>& corrections,
                    std::int64_t count) {
    std::int64_t lowest = -1;  // before the first delta
    return std::ranges::all_of(corrections, [&](const SessionReadingTrail::Correction& each) {
        if (each.deltaIndex < lowest || each.deltaIndex >= count) return false;
        lowest = each.deltaIndex;  // a counter can be corrected twice without a delta between
        return !each.total.hasNegativeValue();
    });
}

}  // namespace

SessionReadingTrailStorage SessionReadingTrailStorage::encoding(const SessionReadingTrail& trail) {
    SessionReadingTrailStorage storage{.corrections = trail.corrections};
    std::uint64_t last = 0;
    for (const std::int64_t ordinal : trail.ordinals) {
        const auto next = static_cast<std::uint64_t>(ordinal);
        appendVarint(storage.ordinals, next - last);
        last = next;
    }
    storage.byteCount = static_cast<std::int64_t>(storage.ordinals.size());
    if (storage.ordinals.size() < worthPacking) return storage;
    if (auto smaller = compressed(storage.ordinals)) {
        storage.ordinals = std::move(*smaller);
        storage.isCompressed = true;
    }
    storage.ordinals.shrink_to_fit();
    return storage;
}

std::optional<SessionReadingTrail> SessionReadingTrailStorage::decoded(std::int64_t count) const {
    SessionReadingTrail trail{.corrections = corrections};
    if (!areCorrections(corrections, count) ||
        !walkOrdinals(*this, count,
                      [&](std::int64_t ordinal) { trail.ordinals.push_back(ordinal); })) {
        return std::nullopt;
    }
    return trail;
}

bool SessionReadingTrailStorage::isTrail(std::int64_t count) const {
    return areCorrections(corrections, count) && walkOrdinals(*this, count, [](std::int64_t) {});
}

std::string SessionUsageCacheEntry::damage() const {
    if (std::string error = deltaStorage.storedDamage(); !error.empty()) return error;
    if (lastModel && !LocalModelUsageAccumulator::normalizedModel(*lastModel)) {
        return "invalid session model context";
    }
    if (!readingTrail.isTrail(deltaCount())) return "invalid session reading trail";
    const auto& first = firstReading;
    if ((lastTokenUsage && lastTokenUsage->hasNegativeValue()) ||
        (first && first->total.hasNegativeValue()) ||
        (first && first->last && first->last->hasNegativeValue()) ||
        (first && first->deltaIndex &&
         (*first->deltaIndex < 0 || *first->deltaIndex >= deltaCount())) ||
        std::ranges::any_of(pendingRecords,
                            [](const auto& record) { return record.tokens.hasNegativeValue(); })) {
        return "invalid session token reading";
    }
    if (lastTurnOrigin < 0 || lastTurnOrigin > static_cast<std::int64_t>(SessionTurnOrigin::own)) {
        return "invalid session turn";
    }
    return {};
}

SessionUsageCacheEntryReading readSessionUsageCacheEntry(JsonView value) {
    SessionUsageCacheEntry entry;
    if (!decode(value, entry)) return {.error = "malformed session usage cache entry"};
    if (std::string error = entry.damage(); !error.empty()) return {.error = std::move(error)};
    return {.entry = std::move(entry)};
}

}  // namespace vantry
