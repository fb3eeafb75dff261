#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "platform/RecordFields.h"

namespace vantry {

/// What the build put into the program.
struct EmbeddedBuildIdentity {
    std::string version = "—";
    std::string buildNumber = "—";
    std::string commit = "unknown";
    std::string sourceState = "unknown";  ///< "clean", "modified"
    std::string architecture = "unknown";

    using Dictionary = std::function<std::optional<std::string>(std::string_view key)>;
    /// From CFBundleShortVersionString, CFBundleVersion, VantryBuildCommit, VantryBuildSourceState
    /// and VantryBuildArchitecture; a missing one keeps its default.
    static EmbeddedBuildIdentity of(const Dictionary& dictionary);
    /// Of this program.
    static EmbeddedBuildIdentity current();

    friend bool operator==(const EmbeddedBuildIdentity&, const EmbeddedBuildIdentity&) = default;
};

template <>
struct RecordFields<EmbeddedBuildIdentity> {
    using Identity = EmbeddedBuildIdentity;
    static constexpr std::tuple list{
        field("version", &Identity::version), field("buildNumber", &Identity::buildNumber),
        field("commit", &Identity::commit), field("sourceState", &Identity::sourceState),
        field("architecture", &Identity::architecture)};
};

enum class InstallationSignatureKind : std::uint8_t {
    developerID,
    appleDevelopment,
    localDevelopment,
    adHoc,
    other,  ///< on Linux: a package owns the program
    unavailable,
};

enum class InstallationNotarizationStatus : std::uint8_t { notarized, notApplicable, unknown };

struct InstallationSignatureInspection {
    InstallationSignatureKind kind = InstallationSignatureKind::unavailable;
    std::optional<std::string> authority;  ///< on Linux the package with its version
    std::optional<std::string> teamIdentifier;

    friend bool operator==(const InstallationSignatureInspection&,
                           const InstallationSignatureInspection&) = default;
};

struct InstallationIdentitySnapshot {
    EmbeddedBuildIdentity embedded;
    InstallationSignatureInspection signature;
    InstallationNotarizationStatus notarizationStatus = InstallationNotarizationStatus::unknown;

    friend bool operator==(const InstallationIdentitySnapshot&,
                           const InstallationIdentitySnapshot&) = default;
};

/// Which build this is and who vouches for it. A report: nothing depends on it.
namespace InstallationIdentityReader {

struct Signature {
    std::optional<std::string> authority;
    std::optional<std::string> teamIdentifier;
    bool isAdHoc = false;
};
InstallationSignatureInspection interpretSignature(const Signature& signature);

struct Notarization {
    InstallationSignatureKind signatureKind = InstallationSignatureKind::unavailable;
    bool hasStapledTicket = false;
};
InstallationNotarizationStatus interpretNotarization(const Notarization& notarization);

/// Asks the package manager, dpkg or rpm, whose the program is. Blocks for some seconds at most.
/// A program that no package owns, and a machine without either, is `unavailable`.
InstallationIdentitySnapshot inspect(const std::filesystem::path& bundleURL,
                                     const EmbeddedBuildIdentity& embedded);

}  // namespace InstallationIdentityReader

}  // namespace vantry
