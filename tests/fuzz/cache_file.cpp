// Feeds the bytes to the readers of what is kept of a log: its entry, its share, its head, and the
// payload of one delta storage.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "local/cache/SessionShare.h"
#include "local/log/SessionHead.h"

using namespace vantry;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    if (const auto entry = entryOf({}, bytes)) {
        if (!entry->deltaStorage.decoded().deltas) std::abort();
        if (!entry->readingTrail.decoded(entry->deltaStorage.count)) std::abort();
    }
    if (const auto share = recordOfBytes<SessionShare>(bytes)) {
        share->own.buckets.list();
    }
    recordOfBytes<SessionHead>(bytes);
    if (size < 2) return 0;
    const SessionUsageDeltaStorage storage{.count = data[0],
                                           .isCompressed = (data[1] & 1) != 0,
                                           .payload = bytes.substr(2),
                                           .models = {"a", "b"}};
    const auto decoding = storage.decoded();
    if (decoding.deltas.has_value() != storage.damage().empty()) std::abort();
    if (decoding.deltas && static_cast<std::int64_t>(decoding.deltas->size()) != storage.count) {
        std::abort();
    }
    const SessionReadingTrailStorage trail{
        .ordinals = bytes.substr(2), .byteCount = data[1] >> 2, .isCompressed = (data[1] & 2) != 0};
    trail.decoded(data[0]);
    return 0;
}
