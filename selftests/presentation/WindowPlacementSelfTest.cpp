#include <fmt/format.h>

#include "presentation/windows/StatusPopoverLayout.h"
#include "presentation/windows/WindowPlacement.h"
#include "selftests/Suites.h"
#include "selftests/support/SelfTest.h"

namespace vantry {

namespace {

void checkWindows(SelfTest& test) {
    constexpr Rect screen{0, 0, 1920, 1080};
    constexpr Rect right{1920, 0, 1280, 1024};
    constexpr Rect left{-1280, -200, 1280, 1024};
    constexpr Rect low{0, 0, 1024, 600};
    constexpr Rect window{800, 40, 1080, 760};
    constexpr Size size{1080, 760};
    struct Case {
        const char* what;
        bool isMain;
        WindowRelocation relocation;
        Rect frame;
    };
    const std::vector<Case> cases{
        {"first launch should preserve the normal-screen right and top insets",
         true,
         {{}, {}, screen, size},
         {816, 24, 1080, 760}},
        {"opening the main window on its current screen must preserve its exact position",
         true,
         {window, screen, screen},
         window},
        {"a menu action on a right-hand external screen should preserve the window's right and top "
         "insets",
         true,
         {window, screen, right},
         {2080, 40, 1080, 760}},
        {"screen placement must support external displays with negative coordinates",
         true,
         {window, screen, left},
         {-1120, -160, 1080, 760}},
        {"first launch on a short screen should temporarily fit the main window to the visible "
         "frame",
         true,
         {{}, {}, low, size},
         {0, 0, 1024, 600}},
        {"an oversized main window should keep its full frame and title bar reachable on the "
         "trigger screen",
         true,
         {window, screen, low},
         {0, 0, 1024, 600}},
        {"a newly created settings window should center on the trigger screen",
         false,
         {{}, {}, screen, {720, 560}},
         {600, 260, 720, 560}},
        {"an existing settings window should be clamped into the trigger screen on every show",
         false,
         {Rect{1900, -50, 720, 560}, screen, screen},
         {1200, 0, 720, 560}},
        {"a settings window taller than the trigger screen should temporarily fit the visible "
         "frame",
         false,
         {{}, {}, low, {720, 900}},
         {152, 0, 720, 600}},
        {"a settings window larger in both dimensions should fit entirely within the trigger "
         "screen",
         false,
         {Rect{0, 0, 3000, 3000}, {}, low},
         low}};
    for (const Case& c : cases) {
        const Rect frame = c.isMain
                               ? MainWindowScreenPlacementPolicy::relocatedFrame(c.relocation)
                               : AuxiliaryWindowScreenPlacementPolicy::relocatedFrame(c.relocation);
        test.expect(frame == c.frame, c.what);
    }
    test.expect(MainWindowReopenPolicy::shouldOpenMainWindow(false) &&
                    !MainWindowReopenPolicy::shouldOpenMainWindow(true),
                "reopening while a popover is shown leaves the main window alone");
}

void checkHeights(SelfTest& test) {
    namespace Layout = StatusPopoverLayoutPolicy;
    struct Case {
        const char* what;
        std::optional<double> screen;
        double height;
    };
    for (const auto& [what, screen, height] :
         {Case{"a normal screen should preserve the preferred status popover height", 1'000, 620},
          Case{"a short screen should reserve an edge inset while limiting the status popover "
               "height",
               500, 484},
          Case{"an unknown trigger screen should fall back to the preferred status popover height",
               std::nullopt, 620},
          Case{"no height", NAN, 620}, Case{"no height", 0, 620}, Case{"no height", INFINITY, 620},
          Case{"a tiny screen", 4, 1}}) {
        test.expect(Layout::contentHeight({620, screen}) == height, what);
    }
    using Density = StatusPopoverContentDensity;
    const Layout::NeededHeights needed{600, 540, 484};
    test.expect(Layout::density(needed, 600) == Density::regular &&
                    Layout::density(needed, 599) == Density::tightInsets &&
                    Layout::density(needed, 484) == Density::shortScreen &&
                    Layout::hasEnoughSpace(500) && !Layout::hasEnoughSpace(499) &&
                    Layout::hasEnoughSpace(std::nullopt),
                "the widest density that fits");
}

void checkPopover(SelfTest& test) {
    using StatusPopoverPlacement::Edge;
    constexpr Size size{496, 484};
    struct Case {
        const char* what;
        std::optional<Point> click;
        Rect screen;
        Rect workArea;
        Point place;
        double scale = 1;
    };
    constexpr Rect one{0, 0, 1920, 1080};
    constexpr Rect two{-1280, 100, 1280, 1024};
    const std::vector<Case> cases{
        {"top", Point{1800, 10}, one, {0, 30, 1920, 1050}, {1424, 34}},
        {"bottom", Point{900, 1070}, one, {0, 0, 1920, 1040}, {652, 552}},
        {"left", Point{20, 500}, one, {48, 0, 1872, 1080}, {52, 258}},
        {"right", Point{1900, 1060}, one, {0, 0, 1872, 1080}, {1372, 596}},
        {"nowhere", std::nullopt, one, {0, 0, 1920, 1040}, {1420, 552}},
        {"0,0", Point{0, 0}, one, {0, 30, 1920, 1050}, {1420, 34}},
        {"another screen", Point{-100, 110}, two, {-1280, 130, 1280, 994}, {-496, 134}},
        {"a click outside", Point{5'000, 5'000}, two, {-1280, 130, 1280, 994}, {-500, 134}},
        {"no panel", Point{1'000, 1'075}, one, one, {752, 592}},
        {"one and a quarter", Point{801.3, 5}, one, {0, 24.4, 1920, 1055.6}, {553.6, 28.8}, 1.25},
        {"one and a half", Point{801, 5}, one, {0, 20, 1920, 1060}, {553.333, 24}, 1.5},
        {"twice", Point{801.3, 5}, one, {0, 20.5, 1920, 1059.5}, {553.5, 24.5}, 2}};
    for (const Case& c : cases) {
        const Rect frame = StatusPopoverPlacement::frame({.click = c.click,
                                                          .screen = c.screen,
                                                          .workArea = c.workArea,
                                                          .size = size,
                                                          .scale = c.scale});
        test.expect(std::abs(frame.x - c.place.x) < 0.01 && std::abs(frame.y - c.place.y) < 0.01,
                    fmt::format("the popover at {}: {} {}", c.what, frame.x, frame.y));
    }
    const Rect low = StatusPopoverPlacement::frame({.panelEdge = Edge::bottom,
                                                    .screen = {0, 0, 400, 300},
                                                    .workArea = {0, 0, 400, 270},
                                                    .size = size});
    test.expect(low == Rect{0, 0, 400, 270}, "never beyond the work area");
}

}  // namespace

bool WindowPlacementSelfTest::run() {
    return SelfTest::run("window placement", {checkWindows, checkHeights, checkPopover});
}

}  // namespace vantry
