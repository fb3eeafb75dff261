#include "lifecycle/ApplicationIdentityDefaultsMigration.h"
#include "lifecycle/InstallationIdentity.h"
#include "selftests/Suites.h"
#include "selftests/support/SelfTest.h"

namespace vantry::InstallationIdentitySelfTest {

namespace {

void checkMigration(SelfTest& test) {
    namespace Migration = ApplicationIdentityDefaultsMigration;
    const TemporaryDirectory directory("vantry-identity-");
    directory.write("com.orvale.vantry.stable.json",
                    R"({"Vantry.interfaceLanguage":"zh","Vantry.interfaceSkin":"sakura-blush",
                        "Vantry.followCodexLifecycle":"true","Vantry.count":3,
                        "Vantry.lifecycleAgent.registrationFingerprint":"old",
                        "Vantry.identityMigration.desktopapp.v1":"no",
                        "NSStatusItem Preferred Position weekly-status-item":"12"})");
    const auto older =
        directory.write("com.halvern.vantry.stable.json",
                        R"({"Vantry.interfaceSkin":"obsidian-gilt","Halvern.kept":"yes"})");
    UserDefaults defaults(directory.path(), "Vantry");
    defaults.setString("Vantry.interfaceLanguage", "en");
    Migration::migrateIfNeeded(defaults, directory.path());
    using Expected = std::pair<const char*, std::optional<std::string>>;
    for (const auto& [key, value] :
         {Expected{"Vantry.interfaceLanguage", "en"},
          Expected{"Vantry.interfaceSkin", "sakura-blush"},
          Expected{"Vantry.followCodexLifecycle", "true"}, Expected{"Halvern.kept", "yes"},
          Expected{"Vantry.lifecycleAgent.registrationFingerprint", std::nullopt},
          Expected{"NSStatusItem Preferred Position weekly-status-item", std::nullopt},
          Expected{"Vantry.identityMigration.desktopapp.v1", "true"}}) {
        test.expect(defaults.string(key) == value, std::string("the migration of ") + key);
    }
    directory.write(older.filename(), R"({"Vantry.late":"yes"})");
    Migration::migrateIfNeeded(defaults, directory.path());
    test.expect(!defaults.string("Vantry.late"), "a second run does nothing");
}

void checkSignatures(SelfTest& test) {
    using Kind = InstallationSignatureKind;
    using Status = InstallationNotarizationStatus;
    namespace Reader = InstallationIdentityReader;
    struct Case {
        Reader::Signature signature;
        Kind kind;
        bool keepsTeam;
        Status status;
        Status withTicket;
    };
    const std::string team = "ABCDE12345";
    const std::array cases{
        Case{{"Developer ID Application: Example Company (ABCDE12345)", team, false},
             Kind::developerID,
             true,
             Status::unknown,
             Status::notarized},
        Case{{"Apple Development: someone", "", false},
             Kind::appleDevelopment,
             false,
             Status::notApplicable,
             Status::notApplicable},
        Case{{"Vantry Local Development", std::nullopt, false},
             Kind::localDevelopment,
             false,
             Status::notApplicable,
             Status::notApplicable},
        Case{{"Developer ID Application: any", team, true},
             Kind::adHoc,
             true,
             Status::notApplicable,
             Status::notApplicable},
        Case{{"vantry-desktop 0.1.1", std::nullopt, false},
             Kind::other,
             false,
             Status::unknown,
             Status::unknown},
        Case{{std::nullopt, std::nullopt, false},
             Kind::unavailable,
             false,
             Status::unknown,
             Status::unknown}};
    for (const Case& c : cases) {
        const auto seen = Reader::interpretSignature(c.signature);
        test.expect(seen.kind == c.kind && seen.teamIdentifier.has_value() == c.keepsTeam &&
                        seen.authority == c.signature.authority &&
                        Reader::interpretNotarization({seen.kind, false}) == c.status &&
                        Reader::interpretNotarization({seen.kind, true}) == c.withTicket,
                    "the signature " + c.signature.authority.value_or("nobody"));
    }
}

void checkInspection(SelfTest& test) {
    const EmbeddedBuildIdentity current = EmbeddedBuildIdentity::current();
    test.expect(!current.version.empty() && current.architecture != "unknown",
                "the build says what it is of");
    const auto bare = EmbeddedBuildIdentity::of([](std::string_view) { return std::nullopt; });
    test.expect(bare == EmbeddedBuildIdentity() && bare.version == "—",
                "what is not said is not known");
    const TemporaryDirectory directory("vantry-identity-");
    const auto nobodys = directory.write("vantry", "a program that no package owns");
    const auto seen = InstallationIdentityReader::inspect(nobodys, current);
    test.expect(seen.signature == InstallationSignatureInspection() && seen.embedded == current,
                "nobody vouches for a program of no package");
}

}  // namespace

bool run() {
    return SelfTest::run("installation identity",
                         {checkMigration, checkSignatures, checkInspection});
}

}  // namespace vantry::InstallationIdentitySelfTest
