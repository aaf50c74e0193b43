#include <gmock/gmock.h>

#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "platform/linux/atspi/WindowPlaces.h"

namespace varkel {

static void PrintTo(const PixelRect& rect, std::ostream* out) {
    *out << rect.x << ", " << rect.y << " " << rect.width << "x" << rect.height;
}

namespace {

using std::nullopt;

ScreenWindow bare(const PixelRect& area) {
    ScreenWindow window;
    window.area = area;
    return window;
}

ScreenWindow framed(const PixelRect& area, const Edges& frame) {
    ScreenWindow window = bare(area);
    window.frame = frame;
    return window;
}

ScreenWindow shadowed(const PixelRect& area, const Edges& shadow) {
    ScreenWindow window = bare(area);
    window.shadow = shadow;
    return window;
}

ScreenWindow titled(const PixelRect& area, const char* title, bool active = false) {
    ScreenWindow window = bare(area);
    window.title = title;
    window.active = active;
    return window;
}

ScreenWindow popup(const PixelRect& area) {
    ScreenWindow window = bare(area);
    window.popup = true;
    return window;
}

/// One window, as an application and as the X server tell it.
struct Case {
    const char* what;
    const char* toolkit;
    AtspiExtents window;
    ScreenWindow shown;
    AtspiExtents element;
    std::optional<PixelRect> pixels;
};

// Most numbers are those that the toolkits gave on a desktop, with windows at odd places.
const Case cases[] = {
    {"GTK 3 with the window manager's frame",
     "gtk",
     {333, 217, 642, 505},
     framed({334, 237, 640, 480}, {1, 1, 20, 5}),
     {344, 247, 20, 10},
     PixelRect{344, 247, 20, 10}},
    {"the same at scale 2",
     "gtk",
     {166, 108, 642, 493},
     framed({334, 237, 1280, 960}, {1, 1, 20, 5}),
     {167, 118, 640, 480},
     PixelRect{334, 237, 1280, 960}},
    {"GTK 3 with its own title bar and shadows at scale 2",
     "gtk",
     {166, 108, 363, 330},
     shadowed({333, 217, 724, 658}, {52, 52, 46, 58}),
     {192, 203, 61, 41},
     PixelRect{385, 407, 122, 82}},
    {"GTK 4 with the window manager's frame at scale 2",
     "GTK",
     {0, 0, 310, 230},
     framed({334, 237, 620, 460}, {1, 1, 20, 5}),
     {249, 189, 61, 41},
     PixelRect{832, 615, 122, 82}},
    {"GTK 4 with a border at scale 2",
     "GTK",
     {0, 0, 361, 497},
     bare({333, 217, 742, 1014}),
     {104, 10, 60, 24},
     PixelRect{551, 247, 120, 48}},
    {"Qt at scale 1.5",
     "Qt",
     {222, 145, 309, 229},
     framed({333, 217, 464, 344}, {1, 1, 20, 5}),
     {470, 333, 61, 41},
     PixelRect{705, 499, 92, 62}},
    {"Qt at a scale of its own",
     "Qt",
     {303, 197, 700, 500},
     bare({333, 217, 770, 550}),
     {403, 297, 100, 50},
     PixelRect{443, 327, 110, 55}},
    {"Qt on a second screen, whose corner is no multiple of the scale",
     "Qt",
     {1970, 100, 400, 300},
     bare({2020, 200, 800, 600}),
     {1980, 110, 50, 20},
     PixelRect{2040, 220, 100, 40}},
    {"the menu of a browser at scale 1.5, whose edges are both rounded outwards",
     "Chromium",
     {540, 494, 292, 246},
     popup({811, 741, 436, 368}),
     {540, 498, 292, 29},
     PixelRect{811, 747, 438, 44}},
    {"a dialog of Java, which tells an old place of the dialog and the right ones of what is in it",
     "J2SE-access-bridge",
     {568, 424, 527, 460},
     framed({310, 257, 525, 435}, {1, 1, 20, 5}),
     {695, 380, 128, 25},
     PixelRect{695, 380, 128, 25}},
    {"a window that has just been made larger, at scale 1",
     "gtk",
     {333, 217, 640, 480},
     bare({333, 217, 800, 600}),
     {343, 227, 20, 10},
     PixelRect{343, 227, 20, 10}},
    {"a scale that the toolkit does not have",
     "gtk",
     {222, 145, 309, 229},
     bare({333, 217, 464, 344}),
     {},
     nullopt},
};

TEST(WindowPlaces, TellsPixelsFromExtents) {
    for (Case each : cases) {
        SCOPED_TRACE(each.what);
        each.shown.title = "A title";
        const AccessibleWindow accessible{each.window, "A title", false};
        const WindowPlaces places(ExtentsConvention::of(each.toolkit), {&accessible, 1}, {each.shown});
        const auto placement = places.inWindow(0);
        EXPECT_EQ(placement ? std::optional(placement->place(each.element)) : nullopt, each.pixels);
    }
}

/// Where windows 0, 1, ... of an application were found: their left edges, -1 for those that were not.
std::vector<double> leftEdges(const char* toolkit, const std::vector<AccessibleWindow>& accessible,
                              std::vector<ScreenWindow> windows) {
    const WindowPlaces places(ExtentsConvention::of(toolkit), accessible, std::move(windows));
    std::vector<double> edges;
    for (std::size_t i = 0; i < accessible.size(); ++i) {
        const auto placement = places.inWindow(i);
        edges.push_back(placement ? placement->place(accessible[i].extents).x : -1);
    }
    return edges;
}

TEST(WindowPlaces, TellsWindowsApart) {
    const auto window = [](double x, const char* title, bool active = false) {
        return titled({x, 50, 300, 200}, title, active);
    };
    const AtspiExtents size{0, 0, 300, 200};
    using Edges = std::vector<double>;
    // By their titles; the one without a title is the one that is left.
    EXPECT_EQ(leftEdges("GTK", {{size, "One"}, {size, "Two"}}, {window(70, "Two"), window(90, "One")}),
              (Edges{90, 70}));
    EXPECT_EQ(
        leftEdges("GTK", {{size, "GtkWindow"}, {size, "Two"}}, {window(70, "Two"), window(90, "python3")}),
        (Edges{90, 70}));
    EXPECT_EQ(leftEdges("GTK", {{size, "Other"}}, {window(70, "Two")}), (Edges{70}));
    EXPECT_EQ(leftEdges("GTK", {{size, "One"}, {size, "Two"}}, {window(70, "Two")}), (Edges{-1, 70}));
    // Alike: by which is active, and not at all when neither is.
    EXPECT_EQ(
        leftEdges("GTK", {{size, "One"}, {size, "One", true}}, {window(70, "One", true), window(90, "One")}),
        (Edges{90, 70}));
    EXPECT_EQ(leftEdges("GTK", {{size, "One"}, {size, "One"}}, {window(70, "One"), window(90, "One")}),
              (Edges{-1, -1}));
    // By their places, where the toolkit knows them, whatever the titles say.
    EXPECT_EQ(leftEdges("gtk", {{{90, 50, 300, 200}, "One"}, {{70, 50, 300, 200}, "One"}},
                        {window(70, "One"), window(90, "")}),
              (Edges{90, 70}));
    // A menu has no title. One that is not on the screen is nowhere.
    const auto menu = popup({591, 723, 519, 498});
    EXPECT_EQ(leftEdges("Chromium", {{{394, 482, 346, 332}, ""}, {{325, 169, 362, 88}, ""}}, {menu}),
              (Edges{591, -1}));
}

TEST(WindowPlaces, FindsPopovers) {
    const AccessibleWindow accessible{{0, 0, 310, 230}, "One", true};
    const auto window = titled({334, 237, 620, 460}, "One");
    const auto at = [](double x, double width, double height) { return popup({x, 300, width, height}); };
    const AtspiExtents button{20, 46, 79, 34};
    const struct {
        const char* what;
        std::vector<ScreenWindow> popups;
        AtspiExtents popover;
        std::vector<double> places;
    } popovers[] = {
        {"one that fills its window", {at(302, 220, 276)}, {20, 46, 110, 138}, {302}},
        {"one with padding above", {at(302, 632, 252)}, {20, 52, 316, 120}, {302}},
        {"one with padding all around", {at(302, 216, 60)}, {31, 53, 86, 16}, {324}},
        {"two of one size", {at(302, 220, 276), at(800, 220, 276)}, {20, 46, 110, 138}, {302, 800}},
        {"none", {}, {20, 46, 110, 138}, {}},
    };
    for (const auto& each : popovers) {
        SCOPED_TRACE(each.what);
        auto windows = each.popups;
        windows.push_back(window);
        const WindowPlaces places(ExtentsConvention::of("GTK"), {&accessible, 1}, windows);
        ASSERT_TRUE(places.inWindow(0));
        std::vector<double> found;
        for (const Placement& placement : places.inPopover(each.popover, button, *places.inWindow(0))) {
            found.push_back(placement.place(each.popover).x);
        }
        EXPECT_EQ(found, each.places);
    }
}

TEST(WindowPlaces, TakesExtentsForPixelsOnlyWhereNothingSpeaksAgainstIt) {
    const AccessibleWindow plain{{70, 50, 300, 200}, "One", false};
    const auto shown = titled({70, 50, 300, 200}, "One");
    const auto doubled = titled({140, 100, 600, 400}, "One");
    const auto arePixels = [&plain](const char* toolkit, std::vector<ScreenWindow> windows) {
        return WindowPlaces(ExtentsConvention::of(toolkit), {&plain, 1}, std::move(windows))
            .arePixelsElsewhere();
    };
    EXPECT_TRUE(arePixels("gtk", {}));
    EXPECT_TRUE(arePixels("Qt", {shown}));
    EXPECT_FALSE(arePixels("Qt", {doubled}));
    EXPECT_FALSE(arePixels("GTK", {}));
}

}  // namespace
}  // namespace varkel
