// What is made of sway's answers.

#include <gmock/gmock.h>

#include <boost/json/parse.hpp>

#include "platform/linux/wayland/SwayTree.h"

namespace varkel {
namespace {

std::vector<SwayView> read(const char* text) {
    return readSwayViews(boost::json::parse(text));
}

/// Two workspaces, the second in front: a tiled window and a floating one, the tiled one used last.
constexpr const char* desktop =
    R"({"id": 1, "type": "root", "focus": [3], "nodes": [{"id": 3, "type": "output",
  "focus": [5, 4], "nodes": [
    {"id": 4, "type": "workspace", "focus": [6], "nodes": [
      {"id": 6, "type": "con", "pid": 60, "name": "Hidden", "app_id": "org.hidden", "visible": false, "nodes": []}]},
    {"id": 5, "type": "workspace", "focus": [8, 7], "floating_nodes": [
      {"id": 7, "type": "floating_con", "pid": 70, "name": "Float", "app_id": null, "shell": "xwayland",
       "window_properties": {"class": "XTerm", "instance": "xterm"}, "visible": true,
       "rect": {"x": 100, "y": 50, "width": 300, "height": 200}, "window_rect": {"x": 2, "y": 3, "width": 296, "height": 195}}],
     "nodes": [{"id": 8, "type": "con", "pid": 80, "name": "Tiled", "app_id": "foot", "focused": true, "visible": true,
       "rect": {"x": 0, "y": 0, "width": 1280, "height": 900}, "window_rect": {"x": 0, "y": 0, "width": 1280, "height": 900}}]}
  ]}]})";

TEST(SwayTree, ListsWindowsTheOneUsedLastAtTheEnd) {
    const auto views = read(desktop);
    std::vector<WindowId> ids;
    for (const SwayView& each : views) ids.push_back(each.window.id);
    ASSERT_THAT(ids, testing::ElementsAre(6, 7, 8));
    EXPECT_EQ(views[0].window.applicationId, "org.hidden");
    EXPECT_EQ(views[0].window.className, "org.hidden");
    EXPECT_FALSE(views[0].visible);
    EXPECT_EQ(views[1].window.className, "XTerm");
    EXPECT_EQ(views[1].window.process, 70);
    EXPECT_TRUE(views[1].xwayland && views[1].floating && !views[1].focused);
    // Inside of sway's border and title bar.
    EXPECT_EQ(views[1].area, (PixelRect{102, 53, 296, 195}));
    EXPECT_TRUE(views[2].focused);
}

TEST(SwayTree, LeavesOutWhatIsMalformed) {
    for (const char* text :
         {"[]", "1", R"({"nodes": 1})", R"({"nodes": [null, 1, {"pid": "x"}, {"pid": -1}]})"})
        EXPECT_TRUE(read(text).empty()) << text;
    const auto views =
        read(R"({"pid": 5, "id": "x", "name": 7, "rect": [1], "focus": [null], "nodes": [{}]})");
    ASSERT_EQ(views.size(), 1U);
    EXPECT_EQ(views[0].area, PixelRect{});
    std::string deep;
    for (int i = 0; i < 30; ++i) deep += R"({"nodes": [)";
    deep += R"({"pid": 3})";
    for (int i = 0; i < 30; ++i) deep += "]}";
    boost::json::parse_options options;
    options.max_depth = 1000;
    EXPECT_EQ(readSwayViews(boost::json::parse(deep, {}, options)).size(), 1U);
}

}  // namespace
}  // namespace varkel
