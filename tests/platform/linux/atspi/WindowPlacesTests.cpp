#include <gmock/gmock.h>

#include "platform/linux/atspi/WindowPlaces.h"

namespace varkel {

static void PrintTo(const PixelRect& rect, std::ostream* out) {
    *out << rect.x << ", " << rect.y << " " << rect.width << "x" << rect.height;
}

namespace {

using std::nullopt;

ScreenWindow shown(const PixelRect& area, const Edges& frame = {}, const Edges& shadow = {}) {
    return {area, "A title", shadow, frame, false, false};
}

ScreenWindow titled(const PixelRect& area, const char* title, bool active = false) {
    return {area, title, {}, {}, false, active};
}

ScreenWindow popup(const PixelRect& area, const char* title = "") {
    return {area, title, {}, {}, true, false};
}

TEST(WindowPlaces, TellsPixelsFromExtents) {
    // One window, as an application and as the X server tell it, and one of its elements in pixels. Most
    // numbers are those that the toolkits gave on a desktop, with windows at odd places.
    const auto check = [](const char* what, const char* toolkit, const AtspiExtents& window,
                          const ScreenWindow& onScreen, const AtspiExtents& element,
                          const std::optional<PixelRect>& pixels) {
        const AccessibleWindow accessible{window, "A title", false};
        const WindowPlaces places(ExtentsConvention::of(toolkit), {&accessible, 1}, {onScreen});
        const auto placement = places.inWindow(0);
        EXPECT_EQ(placement ? std::optional(placement->place(element)) : nullopt, pixels) << what;
    };
    check("GTK 3 with the window manager's frame", "gtk", {333, 217, 642, 505},
          shown({334, 237, 640, 480}, {1, 1, 20, 5}), {344, 247, 20, 10}, PixelRect{344, 247, 20, 10});
    check("the same at scale 2", "gtk", {166, 108, 642, 493}, shown({334, 237, 1280, 960}, {1, 1, 20, 5}),
          {167, 118, 640, 480}, PixelRect{334, 237, 1280, 960});
    check("GTK 3 with its own title bar and shadows at scale 2", "gtk", {166, 108, 363, 330},
          shown({333, 217, 724, 658}, {}, {52, 52, 46, 58}), {192, 203, 61, 41},
          PixelRect{385, 407, 122, 82});
    check("GTK 4 with the window manager's frame at scale 2", "GTK", {0, 0, 310, 230},
          shown({334, 237, 620, 460}, {1, 1, 20, 5}), {249, 189, 61, 41}, PixelRect{832, 615, 122, 82});
    check("GTK 4 with a border at scale 2", "GTK", {0, 0, 361, 497}, shown({333, 217, 742, 1014}),
          {104, 10, 60, 24}, PixelRect{551, 247, 120, 48});
    check("Qt at scale 1.5", "Qt", {222, 145, 309, 229}, shown({333, 217, 464, 344}, {1, 1, 20, 5}),
          {470, 333, 61, 41}, PixelRect{705, 499, 92, 62});
    check("Qt at a scale of its own", "Qt", {303, 197, 700, 500}, shown({333, 217, 770, 550}),
          {403, 297, 100, 50}, PixelRect{443, 327, 110, 55});
    check("Qt on a second screen, whose corner is no multiple of the scale", "Qt", {1970, 100, 400, 300},
          shown({2020, 200, 800, 600}), {1980, 110, 50, 20}, PixelRect{2040, 220, 100, 40});
    check("the menu of a browser at scale 1.5, whose edges are both rounded outwards", "Chromium",
          {540, 494, 292, 246}, popup({811, 741, 436, 368}, "A title"), {540, 498, 292, 29},
          PixelRect{811, 747, 438, 44});
    check("a dialog of Java, which tells an old place of the dialog and the right ones of what is in it",
          "J2SE-access-bridge", {568, 424, 527, 460}, shown({310, 257, 525, 435}, {1, 1, 20, 5}),
          {695, 380, 128, 25}, PixelRect{695, 380, 128, 25});
    check("a window that has just been made larger, at scale 1", "gtk", {333, 217, 640, 480},
          shown({333, 217, 800, 600}), {343, 227, 20, 10}, PixelRect{343, 227, 20, 10});
    check("a scale that the toolkit does not have", "gtk", {222, 145, 309, 229}, shown({333, 217, 464, 344}),
          {}, nullopt);
}

TEST(WindowPlaces, TellsWindowsApart) {
    // The left edges of windows 0, 1, ... of an application, -1 for those that are not found.
    const auto check = [](const char* toolkit, const std::vector<AccessibleWindow>& accessible,
                          std::vector<ScreenWindow> windows, const std::vector<double>& leftEdges) {
        const WindowPlaces places(ExtentsConvention::of(toolkit), accessible, std::move(windows));
        for (std::size_t i = 0; i < accessible.size(); ++i) {
            const auto placement = places.inWindow(i);
            EXPECT_EQ(placement ? placement->place(accessible[i].extents).x : -1, leftEdges[i])
                << toolkit << " " << i;
        }
    };
    const auto window = [](double x, const char* title, bool active = false) {
        return titled({x, 50, 300, 200}, title, active);
    };
    const AtspiExtents size{0, 0, 300, 200};
    // By their titles; the one without a title is the one that is left.
    check("GTK", {{size, "One"}, {size, "Two"}}, {window(70, "Two"), window(90, "One")}, {90, 70});
    check("GTK", {{size, "GtkWindow"}, {size, "Two"}}, {window(70, "Two"), window(90, "python3")}, {90, 70});
    check("GTK", {{size, "Other"}}, {window(70, "Two")}, {70});
    check("GTK", {{size, "One"}, {size, "Two"}}, {window(70, "Two")}, {-1, 70});
    // Alike: by which is active, and not at all when neither is.
    check("GTK", {{size, "One"}, {size, "One", true}}, {window(70, "One", true), window(90, "One")},
          {90, 70});
    check("GTK", {{size, "One"}, {size, "One"}}, {window(70, "One"), window(90, "One")}, {-1, -1});
    // By their places, where the toolkit knows them, whatever the titles say.
    check("gtk", {{{90, 50, 300, 200}, "One"}, {{70, 50, 300, 200}, "One"}},
          {window(70, "One"), window(90, "")}, {90, 70});
    // A menu has no title. One that is not on the screen is nowhere.
    check("Chromium", {{{394, 482, 346, 332}, ""}, {{325, 169, 362, 88}, ""}}, {popup({591, 723, 519, 498})},
          {591, -1});
}

TEST(WindowPlaces, FindsPopovers) {
    const AccessibleWindow accessible{{0, 0, 310, 230}, "One", true};
    const auto window = titled({334, 237, 620, 460}, "One");
    const auto at = [](double x, double width, double height) { return popup({x, 300, width, height}); };
    const AtspiExtents button{20, 46, 79, 34};
    const std::tuple<const char*, std::vector<ScreenWindow>, AtspiExtents, std::vector<double>> popovers[] = {
        {"one that fills its window", {at(302, 220, 276)}, {20, 46, 110, 138}, {302}},
        {"one with padding above", {at(302, 632, 252)}, {20, 52, 316, 120}, {302}},
        {"one with padding all around", {at(302, 216, 60)}, {31, 53, 86, 16}, {324}},
        {"two of one size", {at(302, 220, 276), at(800, 220, 276)}, {20, 46, 110, 138}, {302, 800}},
        {"none", {}, {20, 46, 110, 138}, {}},
    };
    for (const auto& [what, popups, popover, edges] : popovers) {
        SCOPED_TRACE(what);
        auto windows = popups;
        windows.push_back(window);
        const WindowPlaces places(ExtentsConvention::of("GTK"), {&accessible, 1}, windows);
        ASSERT_TRUE(places.inWindow(0));
        std::vector<double> found;
        for (const Placement& placement : places.inPopover(popover, button, *places.inWindow(0))) {
            found.push_back(placement.place(popover).x);
        }
        EXPECT_EQ(found, edges);
    }
}

TEST(WindowPlaces, TakesExtentsForPixelsOnlyWhereNothingSpeaksAgainstIt) {
    const AccessibleWindow plain{{70, 50, 300, 200}, "One", false};
    const auto arePixels = [&plain](const char* toolkit, std::vector<ScreenWindow> windows) {
        return WindowPlaces(ExtentsConvention::of(toolkit), {&plain, 1}, std::move(windows))
            .arePixelsElsewhere();
    };
    EXPECT_TRUE(arePixels("gtk", {}));
    EXPECT_TRUE(arePixels("Qt", {titled({70, 50, 300, 200}, "One")}));
    EXPECT_FALSE(arePixels("Qt", {titled({140, 100, 600, 400}, "One")}));
    EXPECT_FALSE(arePixels("GTK", {}));
}

}  // namespace
}  // namespace varkel
