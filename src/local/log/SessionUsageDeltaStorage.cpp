#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <string_view>

#include "local/log/SessionUsageCacheEntry.h"
#include "platform/Compression.h"
#include "statistics/LocalModelUsageAccumulator.h"

namespace vantry {

namespace {

/// A delta as it lies in the payload.
struct Record {
    double date = 0;  ///< seconds since 2001-01-01T00:00:00Z
    std::int64_t inputTokens = 0;
    std::int64_t cachedInputTokens = 0;
    std::int64_t outputTokens = 0;
    std::int64_t reasoningOutputTokens = 0;
    std::int64_t totalTokens = 0;
    std::uint32_t model = 0;  ///< 0 for none, else 1 + the position in `models`
    /// 0 for the log's own, else 1 + the position in `threads`; above it the origin of the turn.
    std::uint32_t thread = 0;

    static constexpr int originAt = 30;
    std::uint32_t threadIndex() const { return thread & ((1U << originAt) - 1); }
    std::uint32_t origin() const { return thread >> originAt; }
};
static_assert(sizeof(Record) == 56);
static_assert(std::endian::native == std::endian::little, "the payload is little-endian");

constexpr std::int64_t maxCount =
    std::numeric_limits<std::int64_t>::max() / static_cast<std::int64_t>(sizeof(Record));

TokenBreakdown tokensOf(const Record& record) {
    return {.inputTokens = record.inputTokens,
            .cachedInputTokens = record.cachedInputTokens,
            .outputTokens = record.outputTokens,
            .reasoningOutputTokens = record.reasoningOutputTokens,
            .totalTokens = record.totalTokens};
}

/// Positions in a sorted list. Neighbouring deltas mostly have the same model, which is then not
/// looked for again.
class NameIndex {
  public:
    explicit NameIndex(const std::vector<std::string>& models) : models_(models) {}

    std::uint32_t of(const std::optional<std::string>& model) {
        if (!model) return 0;
        if (last_ == 0 || models_[last_ - 1] != *model) {
            const auto found = std::ranges::lower_bound(models_, *model);
            last_ = static_cast<std::uint32_t>(found - models_.begin()) + 1;
        }
        return last_;
    }

  private:
    const std::vector<std::string>& models_;
    std::uint32_t last_ = 0;
};

std::vector<std::string> distinctNames(const std::vector<SessionUsageDelta>& deltas,
                                       std::optional<std::string> SessionUsageDelta::*name) {
    std::vector<std::string> names;
    const std::optional<std::string>* last = nullptr;
    for (const SessionUsageDelta& delta : deltas) {
        if (delta.*name && (last == nullptr || *last != delta.*name)) {
            const auto place = std::ranges::lower_bound(names, *(delta.*name));
            if (place == names.end() || *place != *(delta.*name))
                names.insert(place, *(delta.*name));
        }
        last = &(delta.*name);
    }
    return names;
}

/// A number a delta, one behind the other; no bytes where all are 0.
template <class Number>
std::string columnOf(const std::vector<SessionUsageDelta>& deltas,
                     Number SessionUsageDelta::*number) {
    if (std::ranges::all_of(deltas, [&](const auto& delta) { return delta.*number == 0; }))
        return {};
    std::string bytes(deltas.size() * sizeof(Number), '\0');
    for (std::size_t i = 0; i < deltas.size(); ++i) {
        std::memcpy(bytes.data() + i * sizeof(Number), &(deltas[i].*number), sizeof(Number));
    }
    return bytes;
}

template <class Number>
Number numberAt(const std::string& column, std::size_t index) {
    Number number = 0;
    if (!column.empty()) std::memcpy(&number, column.data() + index * sizeof number, sizeof number);
    return number;
}

/// Hands each record of a sound payload to `visit`; what is wrong with one that is not.
template <class Visit>
std::string walk(const SessionUsageDeltaStorage& storage, Visit visit) {
    if (storage.count < 0 || storage.count > maxCount) return "invalid session delta count";
    const std::size_t size = static_cast<std::size_t>(storage.count) * sizeof(Record);
    for (const std::string* column : {&storage.recordKeys, &storage.cacheWrites}) {
        if (!column->empty() && column->size() != size / sizeof(Record) * sizeof(std::uint64_t)) {
            return "invalid session record size";
        }
    }
    std::string_view bytes = storage.payload;
    std::optional<std::string> unpacked;
    if (!storage.isCompressed) {
        if (bytes.size() != size) return "invalid raw session delta size";
    } else if (storage.count == 0 || bytes.empty()) {
        if (storage.count != 0 || !bytes.empty()) return "invalid compressed session deltas";
    } else {
        unpacked = decompressed(bytes, size);
        if (!unpacked) return "invalid compressed session deltas";
        bytes = *unpacked;
    }
    for (; !bytes.empty(); bytes.remove_prefix(sizeof(Record))) {
        Record record;
        std::memcpy(&record, bytes.data(), sizeof(Record));
        if (record.model > storage.models.size() || record.threadIndex() > storage.threads.size() ||
            record.origin() > static_cast<std::uint32_t>(SessionTurnOrigin::own)) {
            return "truncated session delta payload";
        }
        if (!std::isfinite(record.date) || tokensOf(record).hasNegativeValue()) {
            return "invalid session delta value";
        }
        visit(record);
    }
    return {};
}

}  // namespace

SessionUsageDeltaStorage SessionUsageDeltaStorage::encoding(
    const std::vector<SessionUsageDelta>& deltas) {
    SessionUsageDeltaStorage storage{
        .count = static_cast<std::int64_t>(deltas.size()),
        .payload = std::string(deltas.size() * sizeof(Record), '\0'),
        .models = distinctNames(deltas, &SessionUsageDelta::model),
        .threads = distinctNames(deltas, &SessionUsageDelta::recordThread),
        .recordKeys = columnOf(deltas, &SessionUsageDelta::recordKey),
        .cacheWrites = columnOf(deltas, &SessionUsageDelta::cacheWriteInputTokens)};
    NameIndex models(storage.models);
    NameIndex threads(storage.threads);
    char* place = storage.payload.data();
    for (const SessionUsageDelta& delta : deltas) {
        const Record record{
            .date = delta.date.secondsSinceReference(),
            .inputTokens = delta.tokens.inputTokens,
            .cachedInputTokens = delta.tokens.cachedInputTokens,
            .outputTokens = delta.tokens.outputTokens,
            .reasoningOutputTokens = delta.tokens.reasoningOutputTokens,
            .totalTokens = delta.tokens.totalTokens,
            .model = models.of(delta.model),
            .thread = threads.of(delta.recordThread) | static_cast<std::uint32_t>(delta.turnOrigin)
                                                           << Record::originAt};
        std::memcpy(place, &record, sizeof(Record));
        place += sizeof(Record);
    }
    if (storage.payload.size() < worthPacking) return storage;
    if (auto smaller = compressed(storage.payload)) {
        storage.payload = std::move(*smaller);
        storage.isCompressed = true;
    }
    return storage;
}

SessionUsageDeltaStorage::Decoding SessionUsageDeltaStorage::decoded() const {
    std::vector<SessionUsageDelta> deltas;
    std::string error = walk(*this, [&](const Record& record) {
        // Not before here, where the count is known to be no lie.
        if (deltas.empty()) deltas.reserve(static_cast<std::size_t>(count));
        SessionUsageDelta& delta = deltas.emplace_back();
        delta.date = Date::fromReference(record.date);
        delta.tokens = tokensOf(record);
        if (record.model > 0) delta.model = models[record.model - 1];
        if (record.threadIndex() > 0) delta.recordThread = threads[record.threadIndex() - 1];
        delta.turnOrigin = static_cast<SessionTurnOrigin>(record.origin());
        delta.recordKey = numberAt<std::uint64_t>(recordKeys, deltas.size() - 1);
        delta.cacheWriteInputTokens = numberAt<std::int64_t>(cacheWrites, deltas.size() - 1);
    });
    if (!error.empty()) return {.error = std::move(error)};
    return {.deltas = std::move(deltas)};
}

std::string SessionUsageDeltaStorage::damage() const {
    return walk(*this, [](const Record&) {});
}

std::string SessionUsageDeltaStorage::storedDamage() const {
    if (count > maxStoredCount) return "session delta cache exceeds limit";
    const bool hasNames = std::ranges::all_of(models, [](const std::string& model) {
        return LocalModelUsageAccumulator::normalizedModel(model).has_value();
    });
    return hasNames ? damage() : "invalid session model dictionary";
}

}  // namespace vantry
