#include "lifecycle/InstallationIdentity.h"

#include <array>
#include <unistd.h>
#include <vector>

#include "io/BoundedProcessRunner.h"
#include "platform/Text.h"

namespace vantry {

namespace fs = std::filesystem;

namespace {

std::optional<std::string> outputOf(const fs::path& program, std::vector<std::string> arguments) {
    if (::access(program.c_str(), X_OK) != 0) return std::nullopt;
    const auto result = BoundedProcessRunner::run({.executableURL = program,
                                                   .arguments = std::move(arguments),
                                                   .environment = {{"LC_ALL", "C"}},
                                                   .timeout = 5,
                                                   .maxOutputBytes = 65'536});
    if (result.kind != BoundedProcessResult::Kind::success) return std::nullopt;
    const std::string text = validUtf8(result.output.standardOutput);
    const std::string line(trimmed(text.substr(0, text.find('\n'))));
    return line.empty() ? std::nullopt : std::optional(line);
}

// "vantry-desktop 0.1.1", of the package that has installed the file.
std::optional<std::string> packageOf(const fs::path& program) {
    constexpr const char* dpkg = "/usr/bin/dpkg-query";
    if (const auto owner = outputOf(dpkg, {"-S", program.string()})) {
        // "package: /path", or "package:arch: /path".
        const std::string package = owner->substr(0, owner->rfind(": "));
        if (package.find(',') != std::string::npos) return std::nullopt;
        return outputOf(dpkg, {"-W", "-f", "${Package} ${Version}", package});
    }
    return outputOf("/usr/bin/rpm",
                    {"-q", "--qf", "%{NAME} %{VERSION}-%{RELEASE}\n", "-f", program.string()});
}

}  // namespace

EmbeddedBuildIdentity EmbeddedBuildIdentity::of(const Dictionary& dictionary) {
    EmbeddedBuildIdentity identity;
    const auto take = [&](std::string_view key, std::string& into) {
        const auto value = dictionary(key);
        if (value && !value->empty()) into = *value;
    };
    take("CFBundleShortVersionString", identity.version);
    take("CFBundleVersion", identity.buildNumber);
    take("VantryBuildCommit", identity.commit);
    take("VantryBuildSourceState", identity.sourceState);
    take("VantryBuildArchitecture", identity.architecture);
    return identity;
}

namespace InstallationIdentityReader {

InstallationSignatureInspection interpretSignature(const Signature& signature) {
    using Kind = InstallationSignatureKind;
    InstallationSignatureInspection inspection{.kind = Kind::other,
                                               .authority = signature.authority};
    if (signature.teamIdentifier && !signature.teamIdentifier->empty()) {
        inspection.teamIdentifier = signature.teamIdentifier;
    }
    const auto& authority = signature.authority;
    if (signature.isAdHoc) {
        inspection.kind = Kind::adHoc;
    } else if (!authority) {
        inspection.kind = Kind::unavailable;
    } else if (authority->starts_with("Developer ID Application:")) {
        inspection.kind = Kind::developerID;
    } else if (authority->starts_with("Apple Development:")) {
        inspection.kind = Kind::appleDevelopment;
    } else if (*authority == "Vantry Local Development") {
        inspection.kind = Kind::localDevelopment;
    }
    return inspection;
}

InstallationNotarizationStatus interpretNotarization(const Notarization& notarization) {
    using Status = InstallationNotarizationStatus;
    switch (notarization.signatureKind) {
        case InstallationSignatureKind::developerID:
            return notarization.hasStapledTicket ? Status::notarized : Status::unknown;
        case InstallationSignatureKind::appleDevelopment:
        case InstallationSignatureKind::localDevelopment:
        case InstallationSignatureKind::adHoc:
            return Status::notApplicable;
        case InstallationSignatureKind::other:
        case InstallationSignatureKind::unavailable:
            break;
    }
    return Status::unknown;
}

InstallationIdentitySnapshot inspect(const fs::path& bundleURL,
                                     const EmbeddedBuildIdentity& embedded) {
    const InstallationSignatureInspection signature =
        interpretSignature({.authority = packageOf(bundleURL)});
    return {.embedded = embedded,
            .signature = signature,
            .notarizationStatus = interpretNotarization({.signatureKind = signature.kind})};
}

}  // namespace InstallationIdentityReader

}  // namespace vantry
