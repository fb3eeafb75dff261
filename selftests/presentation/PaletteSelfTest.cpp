#include <fmt/format.h>

#include "presentation/palette/WidgetPalette.h"
#include "selftests/Suites.h"
#include "selftests/support/SelfTest.h"

namespace vantry {

namespace {

using Role = WidgetPaletteRole;

/// A role that has to be made out on every surface.
struct Rule {
    Role role;
    double contrast;
};
constexpr std::array rules{Rule{Role::text, 7},
                           Rule{Role::secondaryText, 4.5},
                           Rule{Role::brandPrimaryForeground, 4.5},
                           Rule{Role::brandSecondaryForeground, 4.5},
                           Rule{Role::dataAccentForeground, 4.5},
                           Rule{Role::statusSuccessForeground, 4.5},
                           Rule{Role::statusWarningForeground, 4.5},
                           Rule{Role::statusDanger, 4.5},
                           Rule{Role::statusInfo, 4.5},
                           Rule{Role::statusNeutralForeground, 4.5},
                           Rule{Role::brandPrimaryStrong, 3},
                           Rule{Role::dataAccentGraphic, 3},
                           Rule{Role::dataComparison, 3},
                           Rule{Role::dataOutput, 3},
                           Rule{Role::statusSuccess, 3},
                           Rule{Role::statusWarning, 3},
                           Rule{Role::statusNeutral, 3},
                           Rule{Role::accessibleStroke, 3},
                           Rule{Role::ringArcStart, 3},
                           Rule{Role::ringArcEnd, 3}};

template <class Check>
void inEveryPalette(Check check) {
    for (const auto& [skin, name] : EnumTexts<WidgetSkin>::table) {
        for (const auto& [appearance, light] : EnumTexts<WidgetAppearance>::table) {
            check(WidgetPaletteSnapshot{skin, appearance}, fmt::format("{} {}", name, light));
        }
    }
}

void checkContrast(SelfTest& test) {
    inEveryPalette([&](const WidgetPaletteSnapshot& palette, const std::string& name) {
        const auto reaches = [&](const RingRGBColor& a, const RingRGBColor& b, double contrast,
                                 const std::string& what) {
            const double ratio = contrastRatio(a, b);
            test.expect(ratio >= contrast, fmt::format("{}: {} has {:.2f}:1", name, what, ratio));
        };
        for (const Rule& rule : rules) {
            for (const Role surface : WidgetPalette::surfaces) {
                reaches(palette.color(rule.role), palette.color(surface), rule.contrast,
                        fmt::format("role {} on surface {}", static_cast<int>(rule.role),
                                    static_cast<int>(surface)));
            }
        }
        reaches(palette.color(Role::onBrand), palette.color(Role::brandPrimaryForeground), 4.5,
                "a button's label");
        for (int series = 0; series < WidgetPaletteSnapshot::seriesCount; ++series) {
            reaches(palette.seriesColor(series), palette.color(Role::cardSurfaceFill), 3,
                    fmt::format("series {}", series));
        }
        for (int level = 1; level <= 5; ++level) {
            // Neighbouring levels, and each from an empty day.
            reaches(palette.heatmapColor(level), palette.heatmapColor(level - 1), 1.05,
                    fmt::format("level {} beside the one before", level));
            reaches(palette.heatmapColor(level), palette.heatmapColor(0), 1.12,
                    fmt::format("level {} beside nothing", level));
        }
    });
}

void checkSkins(SelfTest& test) {
    std::set<std::tuple<WidgetAppearance, double, double, double>> rings;
    inEveryPalette([&](const WidgetPaletteSnapshot& palette, const std::string&) {
        const RingRGBColor end = palette.color(Role::ringArcEnd);
        rings.insert({palette.appearance, end.red, end.green, end.blue});
    });
    test.expect(rings.size() == 12, "every skin has a ring of its own in either appearance");
    const WidgetPaletteSnapshot violet{WidgetSkin::nebulaViolet, WidgetAppearance::dark};
    const RingRGBColor before = violet.color(Role::brandSecondaryStrong);
    test.expect(before == RingRGBColor::hex(0x6D45E8), "the brand's colours are its own");
    WidgetPalette::activate(WidgetSkin::abyssalAzure);
    test.expect(WidgetPalette::activeSkinIdentifier() == "abyssal-azure" &&
                    violet.color(Role::brandSecondaryStrong) == before,
                "an explicit palette keeps its colours when another skin becomes active");
    WidgetPalette::activate(WidgetSkin::nebulaViolet);
}

}  // namespace

bool PaletteSelfTest::run() {
    return SelfTest::run("palette", {checkContrast, checkSkins});
}

}  // namespace vantry
