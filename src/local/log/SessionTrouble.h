#pragma once

#include <array>
#include <optional>
#include <string_view>
#include <utility>

#include "local/log/SessionFileIdentity.h"
#include "local/log/SessionLogStream.h"
#include "platform/RecordFields.h"

namespace vantry {

template <>
struct EnumTexts<CodexUsageReader::SessionLogTrouble> {
    using Trouble = CodexUsageReader::SessionLogTrouble;
    static constexpr std::array<std::pair<Trouble, std::string_view>, 10> table{
        {{Trouble::none, "none"},
         {Trouble::absent, "absent"},
         {Trouble::notRegular, "notRegular"},
         {Trouble::outside, "outside"},
         {Trouble::unreadable, "unreadable"},
         {Trouble::damaged, "damaged"},
         {Trouble::tooLarge, "tooLarge"},
         {Trouble::changed, "changed"},
         {Trouble::timeRanOut, "timeRanOut"},
         {Trouble::outOfResources, "outOfResources"}}};
};

/// A log that could not be read, as it was then.
struct KnownSessionTrouble {
    CodexUsageReader::SessionLogTrouble trouble = CodexUsageReader::SessionLogTrouble::none;
    std::optional<SessionFileSnapshot> file;
    Date firstSeenAt;

    friend bool operator==(const KnownSessionTrouble&, const KnownSessionTrouble&) = default;
};

template <>
struct RecordFields<KnownSessionTrouble> {
    using Known = KnownSessionTrouble;
    static constexpr std::tuple list{field("trouble", &Known::trouble), field("file", &Known::file),
                                     field("firstSeenAt", &Known::firstSeenAt)};
};

}  // namespace vantry
