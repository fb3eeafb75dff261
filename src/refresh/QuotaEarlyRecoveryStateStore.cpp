#include "refresh/QuotaEarlyRecoveryStateStore.h"

#include "refresh/QuotaEarlyRecoveryRules.h"

namespace vantry {

namespace {

constexpr const char* stateKey = "Vantry.quotaEarlyRecovery.state.v1";

std::optional<QuotaEarlyRecovery::PersistentState> stateIn(std::string_view text) {
    const auto document = JsonDocument::parse(text);
    QuotaEarlyRecovery::PersistentState state;
    if (!document || !decode(document->root(), state)) return std::nullopt;
    return state;
}

}  // namespace

QuotaEarlyRecovery::PersistentState QuotaEarlyRecoveryStateStore::load() const {
    return decoded(defaults_.string(stateKey).value_or(""));
}

bool QuotaEarlyRecoveryStateStore::save(const State& state, Date now) {
    const auto text = encoded(state);
    if (!text) return false;
    const auto join = [now](const std::optional<std::string>& stored, const std::string& own) {
        State joined = decoded(own);
        QuotaEarlyRecovery::adoptNotifications(joined, decoded(stored.value_or("")), now);
        return encoded(joined).value_or(own);
    };
    return defaults_.change({.set = {{stateKey, *text}}, .merge = {{stateKey, join}}});
}

std::optional<std::string> QuotaEarlyRecoveryStateStore::encoded(const State& state) {
    auto text = writeJson(encode(state, RecordForm::stored), JsonLayout::compact);
    if (text && !stateIn(*text)) text.reset();
    return text;
}

QuotaEarlyRecovery::PersistentState QuotaEarlyRecoveryStateStore::decoded(std::string_view text) {
    return stateIn(text).value_or(State());
}

}  // namespace vantry
