#include "refresh/QuotaEarlyRecoveryStateStore.h"

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

bool QuotaEarlyRecoveryStateStore::save(const State& state) {
    const auto text = encoded(state);
    return text && defaults_.setString(stateKey, *text);
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
