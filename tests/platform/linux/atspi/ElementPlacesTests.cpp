// Where elements are that do not count as their window does.

#include <gmock/gmock.h>
#include <unistd.h>

#include "platform/linux/atspi/ElementPlaces.h"
#include "support/ScriptedBus.h"

namespace varkel {
namespace {

struct Element {
    std::string path;
    std::string parent;
    AtspiRole role;
    AtspiExtents extents;
};

/// An application and its windows on the screen, the application itself first.
struct Scene {
    std::string toolkit;
    std::vector<ScreenWindow> screen;
    std::vector<Element> elements;
    bool knowTheirPlace = true;
};

ScreenWindow window(const PixelRect& area, const Edges& frame = {}, bool popup = false) {
    return {area, popup ? "" : "/window", {}, frame, popup, false};
}

ScriptedReply answer(const Scene& scene, const ScriptedCall& call) {
    if (auto own = ScriptedBus::ownAnswer(call, false)) return *own;
    const bool reads = call.member == "Get";
    if (reads && call.isAbout("ToolkitName")) return ScriptedReply::textProperty(scene.toolkit);
    if (reads && !call.isAbout("ChildCount")) return ScriptedReply::textProperty(call.path);
    const auto found = std::ranges::find(scene.elements, call.path, &Element::path);
    if (found == scene.elements.end()) return {};
    if (call.member == "GetRole") return ScriptedReply::number(static_cast<std::uint32_t>(found->role));
    if (call.member == "GetExtents") {
        WireWriter body;
        const AtspiExtents& extents = found->extents;
        for (const std::int32_t each : {extents.x, extents.y, extents.width, extents.height})
            body.u32(static_cast<std::uint32_t>(each));
        return ScriptedReply::answer("(iiii)", std::move(body));
    }
    if (call.member != "GetChildren") return {};
    References list;
    for (const Element& each : scene.elements) {
        if (each.parent == call.path) list.emplace_back(":1.7", each.path);
    }
    return ScriptedReply::references(list);
}

/// The top left corners of the elements below the window that have a place, as "PATH X,Y", in order.
std::vector<std::string> corners(const Scene& scene) {
    ScriptedBus bus([&](const ScriptedCall& call) { return answer(scene, call); });
    AtspiBus atspi;
    AtspiSession session(atspi, ::getpid());
    ElementPlaces places(session, [&scene](pid_t) {
        return ProcessWindows{scene.screen, scene.knowTheirPlace};
    });
    std::vector<std::string> found;
    std::vector<std::uint32_t> waiting{AtspiSession::rootNode};
    while (!waiting.empty()) {
        const std::uint32_t index = waiting.back();
        waiting.pop_back();
        session.load(index, AtspiPart::children);
        const AtspiNode& node = session.node(index);
        waiting.insert(waiting.end(), node.children.rbegin(), node.children.rend());
        if (index == AtspiSession::rootNode || !session.load(index, AtspiPart::extents)) continue;
        if (const auto frame = places.frame(index)) {
            found.push_back(node.path + " " + std::to_string(static_cast<int>(frame->x)) + "," +
                            std::to_string(static_cast<int>(frame->y)));
        }
    }
    return found;
}

const Element application{"/application", "", AtspiRole::application, {}};

TEST(ElementPlaces, TakesPagesInPixelsForWhatTheyAre) {
    const auto scene = [](const AtspiExtents& page, const AtspiExtents& link) {
        return Scene{"Chromium",
                     {window({333, 217, 1050, 750})},
                     {application,
                      {"/window", "/application", AtspiRole::frame, {222, 144, 700, 500}},
                      {"/view", "/window", AtspiRole::panel, {226, 287, 692, 353}},
                      {"/page", "/view", AtspiRole::documentWeb, page},
                      {"/link", "/page", AtspiRole::link, link}}};
    };
    EXPECT_THAT(corners(scene({339, 430, 1038, 530}, {489, 520, 92, 62})),
                testing::ElementsAre("/window 333,217", "/view 339,432", "/page 339,430", "/link 489,520"));
    // One whose page answers as its window does.
    EXPECT_THAT(corners(scene({226, 287, 692, 353}, {326, 347, 61, 41})),
                testing::ElementsAre("/window 333,217", "/view 339,432", "/page 339,432", "/link 489,522"));
}

TEST(ElementPlaces, PutsWhatARootPaneHoldsBelowItsMenuBar) {
    const Scene scene{"gtk",
                      {window({0, 19, 1400, 981}, {0, 0, 19, 0})},
                      {application,
                       {"/window", "/application", AtspiRole::frame, {0, 0, 1400, 1000}},
                       {"/panel", "/window", AtspiRole::panel, {0, 44, 1400, 956}},
                       {"/pane", "/panel", AtspiRole::rootPane, {0, 19, 1400, 956}},
                       {"/button", "/pane", AtspiRole::pushButton, {4, 21, 44, 35}},
                       {"/sidebar", "/pane", AtspiRole::panel, {1350, 99, 48, 852}},
                       {"/native", "/sidebar", AtspiRole::panel, {1350, 124, 48, 852}},
                       {"/entry", "/native", AtspiRole::entry, {1354, 165, 40, 20}}}};
    EXPECT_THAT(corners(scene),
                testing::ElementsAre("/window 0,0", "/panel 0,44", "/pane 0,44", "/button 4,46",
                                     "/sidebar 1350,124", "/native 1350,124", "/entry 1354,165"));
}

TEST(ElementPlaces, CountsFromTheSurfaceWhereNoApplicationKnowsItsPlace) {
    const auto scene = [](const std::string& toolkit, const AtspiExtents& extents, const AtspiExtents& bar) {
        return Scene{toolkit,
                     {window({300, 100, 400, 200})},
                     {application,
                      {"/window", "/application", AtspiRole::frame, extents},
                      {"/bar", "/window", AtspiRole::panel, bar},
                      {"/button", "/bar", AtspiRole::pushButton, {bar.x + 7, bar.y + 9, 30, 20}}},
                     false};
    };
    const auto atTheEdge = testing::ElementsAre("/window 300,100", "/bar 300,100", "/button 307,109");
    for (const char* toolkit : {"gtk", "GTK", "Qt", "Chromium"})
        EXPECT_THAT(corners(scene(toolkit, {0, 0, 400, 200}, {0, 0, 400, 40})), atTheEdge) << toolkit;
    // A shadow around it: as wide on both sides, its height told by the title bar.
    EXPECT_THAT(corners(scene("gtk", {0, 0, 452, 252}, {26, 23, 400, 47})),
                testing::ElementsAre("/window 274,77", "/bar 300,100", "/button 307,109"));
    // The same below what fills the window with its shadow, and beside what is as high up.
    const Scene deep{"Chromium",
                     {window({300, 100, 400, 200})},
                     {application,
                      {"/window", "/application", AtspiRole::frame, {0, 0, 432, 242}},
                      {"/root", "/window", AtspiRole::panel, {0, 0, 432, 242}},
                      {"/close", "/root", AtspiRole::pushButton, {380, 10, 30, 40}},
                      {"/bar", "/root", AtspiRole::panel, {16, 10, 400, 200}}},
                     false};
    EXPECT_THAT(corners(deep),
                testing::ElementsAre("/window 284,90", "/root 284,90", "/close 664,100", "/bar 300,100"));
    // What is on top does not reach from side to side, lies lower than the shadow could, or the window has
    // another size than is seen.
    EXPECT_THAT(corners(scene("gtk", {0, 0, 452, 252}, {26, 23, 300, 47})), testing::IsEmpty());
    EXPECT_THAT(corners(scene("gtk", {0, 0, 452, 252}, {26, 60, 400, 47})), testing::IsEmpty());
    EXPECT_THAT(corners(scene("Qt", {0, 0, 380, 200}, {0, 0, 380, 40})), testing::IsEmpty());
}

TEST(ElementPlaces, PutsMenusWhereTheirOwnWindowIsOrNowhere) {
    const auto scene = [](std::vector<ScreenWindow> popups) {
        popups.push_back(window({334, 237, 620, 460}));
        return Scene{"GTK",
                     std::move(popups),
                     {application,
                      {"/window", "/application", AtspiRole::window, {0, 0, 310, 230}},
                      {"/button", "/window", AtspiRole::pushButton, {20, 46, 79, 34}},
                      {"/menu", "/button", AtspiRole::menu, {20, 46, 110, 138}},
                      {"/item", "/menu", AtspiRole::menuItem, {49, 75, 52, 24}},
                      {"/label", "/window", AtspiRole::label, {30, 100, 40, 20}}}};
    };
    const auto popup = [](double x) { return window({x, 800, 220, 276}, {}, true); };
    EXPECT_THAT(corners(scene({popup(302)})),
                testing::ElementsAre("/window 334,237", "/button 374,329", "/menu 302,800", "/item 360,858",
                                     "/label 394,437"));
    for (const auto& popups : {std::vector<ScreenWindow>{}, {popup(302), popup(900)}}) {
        EXPECT_THAT(corners(scene(popups)),
                    testing::ElementsAre("/window 334,237", "/button 374,329", "/label 394,437"));
    }
}

}  // namespace
}  // namespace varkel
