#pragma once

#include <array>
#include <cstdint>
#include <string_view>
#include <utility>

#include "platform/RecordFields.h"

namespace vantry {

/// The programs whose usage is read.
enum class RuntimeScope : std::uint8_t { codex };

inline constexpr std::array allRuntimeScopes{RuntimeScope::codex};

template <>
struct EnumTexts<RuntimeScope> {
    static constexpr std::array table{std::pair{RuntimeScope::codex, std::string_view("codex")}};
};

/// The scope's name as a user reads it.
constexpr std::string_view displayName(RuntimeScope) {
    return "Codex";
}

/// How far one runtime's figures can be trusted.
enum class RuntimeMenuStatus : std::uint8_t { available, stale, localOnly, unavailable };

template <>
struct EnumTexts<RuntimeMenuStatus> {
    static constexpr std::array table{
        std::pair{RuntimeMenuStatus::available, std::string_view("available")},
        std::pair{RuntimeMenuStatus::stale, std::string_view("stale")},
        std::pair{RuntimeMenuStatus::localOnly, std::string_view("localOnly")},
        std::pair{RuntimeMenuStatus::unavailable, std::string_view("unavailable")}};
};

/// What became of the read of the local records.
enum class LocalUsageReadStatus : std::uint8_t {
    notAttempted,
    complete,
    staleFallback,
    unavailable
};

template <>
struct EnumTexts<LocalUsageReadStatus> {
    static constexpr std::array table{
        std::pair{LocalUsageReadStatus::notAttempted, std::string_view("notAttempted")},
        std::pair{LocalUsageReadStatus::complete, std::string_view("complete")},
        std::pair{LocalUsageReadStatus::staleFallback, std::string_view("staleFallback")},
        std::pair{LocalUsageReadStatus::unavailable, std::string_view("unavailable")}};
};

/// What became of the account's usage request.
enum class OfficialUsageReadStatus : std::uint8_t { notAttempted, succeeded, failed };

template <>
struct EnumTexts<OfficialUsageReadStatus> {
    static constexpr std::array table{
        std::pair{OfficialUsageReadStatus::notAttempted, std::string_view("notAttempted")},
        std::pair{OfficialUsageReadStatus::succeeded, std::string_view("succeeded")},
        std::pair{OfficialUsageReadStatus::failed, std::string_view("failed")}};
};

/// How the conversation with the account service ended.
enum class AppServerReadState : std::uint8_t { notAttempted, responded, failed, executableMissing };

template <>
struct EnumTexts<AppServerReadState> {
    static constexpr std::array table{
        std::pair{AppServerReadState::notAttempted, std::string_view("notAttempted")},
        std::pair{AppServerReadState::responded, std::string_view("responded")},
        std::pair{AppServerReadState::failed, std::string_view("failed")},
        std::pair{AppServerReadState::executableMissing, std::string_view("executableMissing")}};
};

/// What the local read needs and did not find.
enum class LocalReaderDependencyFailure : std::uint8_t { databaseMissing, sqliteExecutableMissing };

template <>
struct EnumTexts<LocalReaderDependencyFailure> {
    static constexpr std::array table{
        std::pair{LocalReaderDependencyFailure::databaseMissing,
                  std::string_view("databaseMissing")},
        std::pair{LocalReaderDependencyFailure::sqliteExecutableMissing,
                  std::string_view("sqliteExecutableMissing")}};
};

/// Where a number comes from, from the strongest claim to the weakest.
enum class UsageSourceQuality : std::uint8_t {
    detailed,
    official,
    hybrid,
    approximate,
    allocatedEstimate,
};

template <>
struct EnumTexts<UsageSourceQuality> {
    static constexpr std::array table{
        std::pair{UsageSourceQuality::detailed, std::string_view("detailed")},
        std::pair{UsageSourceQuality::official, std::string_view("official")},
        std::pair{UsageSourceQuality::hybrid, std::string_view("hybrid")},
        std::pair{UsageSourceQuality::approximate, std::string_view("approximate")},
        std::pair{UsageSourceQuality::allocatedEstimate, std::string_view("allocatedEstimate")}};
};

}  // namespace vantry
