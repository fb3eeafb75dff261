#include "platform/JsonWriter.h"

#include <cmath>
#include <nlohmann/json.hpp>

namespace vantry {

namespace {

nlohmann::json tree(const JsonValue& value) {
    struct Visitor {
        nlohmann::json operator()(std::nullptr_t) const { return nullptr; }
        nlohmann::json operator()(bool flag) const { return flag; }
        nlohmann::json operator()(std::int64_t number) const { return number; }
        nlohmann::json operator()(double number) const {
            return std::isfinite(number) ? nlohmann::json(number) : nlohmann::json(nullptr);
        }
        nlohmann::json operator()(const std::string& text) const { return text; }
        nlohmann::json operator()(const JsonValue::Array& elements) const {
            nlohmann::json result = nlohmann::json::array();
            for (const JsonValue& element : elements) result.push_back(tree(element));
            return result;
        }
        nlohmann::json operator()(const JsonValue::Object& members) const {
            nlohmann::json result = nlohmann::json::object();
            for (const auto& [key, member] : members) result[key] = tree(member);
            return result;
        }
    };
    return std::visit(Visitor{}, value.storage());
}

}  // namespace

const JsonValue* JsonValue::find(std::string_view key) const {
    const Object* members = std::get_if<Object>(&value_);
    if (members == nullptr) return nullptr;
    const auto found = members->find(key);
    return found == members->end() ? nullptr : &found->second;
}

std::optional<std::string> writeJson(const JsonValue& value, JsonLayout layout) {
    try {
        return tree(value).dump(layout == JsonLayout::pretty ? 2 : -1);
    } catch (const nlohmann::json::exception&) {
        return std::nullopt;
    }
}

}  // namespace vantry
