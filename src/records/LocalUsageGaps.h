#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/RecordFields.h"

namespace vantry {

/// What keeps the logs of a home from telling everything, and will not pass by itself.
enum class LocalUsageGapKind : std::uint8_t {
    missingLog,            ///< the index names a log that was never seen and is not there
    unreadableLog,         ///< the system refuses it, or reading it takes too long
    damagedLog,            ///< it says what cannot be, or is no log at all
    notRegularFile,        ///< a folder, a pipe or a link
    outsideFolders,        ///< it lies where nothing is read
    parentCycle,           ///< a log that is its own ancestor
    divergentCopy,         ///< the shorter of two copies that part after a common beginning
    countedWithoutParent,  ///< a fork whose parent cannot be checked: what is surely its own counts
    unreadableLines,       ///< lines that are no JSON were passed over
    recordDisagreement,    ///< the counter grew by something else than the record of a request
    futureEvents,          ///< events dated more than a day ahead
    goneLog,               ///< counted, and no longer there: it keeps counting
    damagedRecord,         ///< what was known of gone logs, and can no longer be read
};

template <>
struct EnumTexts<LocalUsageGapKind> {
    using Kind = LocalUsageGapKind;
    static constexpr std::array<std::pair<Kind, std::string_view>, 13> table{
        {{Kind::missingLog, "missingLog"},
         {Kind::unreadableLog, "unreadableLog"},
         {Kind::damagedLog, "damagedLog"},
         {Kind::notRegularFile, "notRegularFile"},
         {Kind::outsideFolders, "outsideFolders"},
         {Kind::parentCycle, "parentCycle"},
         {Kind::divergentCopy, "divergentCopy"},
         {Kind::countedWithoutParent, "countedWithoutParent"},
         {Kind::unreadableLines, "unreadableLines"},
         {Kind::recordDisagreement, "recordDisagreement"},
         {Kind::futureEvents, "futureEvents"},
         {Kind::goneLog, "goneLog"},
         {Kind::damagedRecord, "damagedRecord"}}};
};

struct LocalUsageGap {
    LocalUsageGapKind kind = LocalUsageGapKind::missingLog;
    std::int64_t count = 0;          ///< logs; lines, readings or events for the kinds that say so
    std::vector<std::string> paths;  ///< of the logs, sorted, the first thousand

    friend bool operator==(const LocalUsageGap&, const LocalUsageGap&) = default;
};

template <>
struct RecordFields<LocalUsageGap> {
    static constexpr std::tuple list{field("kind", &LocalUsageGap::kind),
                                     field("count", &LocalUsageGap::count),
                                     field("paths", &LocalUsageGap::paths)};
};

/// The gaps of a read, each kind once, in the order of the kinds.
struct LocalUsageGaps {
    std::vector<LocalUsageGap> list;

    /// `count` more of a kind, in the log at `path`.
    void add(LocalUsageGapKind kind, const std::string& path, std::int64_t count = 1);

    void add(const LocalUsageGaps& other);

    /// Puts the paths in order and leaves out those beyond the first thousand of a kind.
    void settle();

    /// Of all kinds but logs that are gone, since those are counted in full.
    std::int64_t count() const;

    friend bool operator==(const LocalUsageGaps&, const LocalUsageGaps&) = default;
};

inline JsonValue encode(const LocalUsageGaps& gaps, RecordForm form) {
    return encode(gaps.list, form);
}
inline bool decode(JsonView value, LocalUsageGaps& into) {
    return decode(value, into.list);
}

}  // namespace vantry
