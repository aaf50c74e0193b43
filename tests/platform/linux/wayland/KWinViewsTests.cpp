#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/linux/wayland/KWinWindowSystem.h"

namespace varkel {
namespace {

/// A window, with more members: each begins with a comma.
std::string view(std::string_view more) {
    std::string text = R"({"id":"{57b649c1-ff7b}","pid":42,"title":"T","name":"n","class":"c","entry":"e")";
    text.append(more).append("}");
    return text;
}

std::string listOf(std::initializer_list<std::string_view> views) {
    std::string text;
    for (const std::string_view each : views) text.append(text.empty() ? "[" : ",").append(each);
    return text.append("]");
}

TEST(KWinViews, PutsTheActiveWindowLastAndLeavesOutWhatIsMalformed) {
    const std::string list =
        listOf({view(R"(,"active":true,"x11":true)"), R"({"id":"{1}","pid":7,"active":false})",
                R"({"id":"{2}","pid":0})", R"({"id":"{3}","pid":1e300})", R"({"id":"\"); evil(\"","pid":7})",
                R"({"pid":7})", "7", "null"});
    const auto views = readKWinViews(list);
    ASSERT_EQ(views.size(), 2U);
    EXPECT_EQ(views[0].uuid, "{1}");
    EXPECT_FALSE(views[0].active);
    const KWinView& last = views[1];
    EXPECT_TRUE(last.active && last.xwayland);
    EXPECT_EQ(last.window.process, 42);
    EXPECT_EQ(last.window.instanceName + last.window.className + last.window.applicationId + last.title,
              "nceT");
    EXPECT_NE(last.window.id, views[0].window.id);
    for (const char* text : {"", "[", "{}", "7", "\"x\""})
        EXPECT_THAT(readKWinViews(text), testing::IsEmpty()) << text;
}

TEST(KWinViews, CountsAsSeenWhatIsNeitherTheCompositorsFrameNorAShadow) {
    const std::tuple<const char*, const char*, PixelRect> cases[] = {
        {"a title bar of the compositor's",
         R"(,"frame":{"x":10,"y":20,"width":400,"height":330},"buffer":{"x":10,"y":50,"width":400,"height":300})",
         {10, 50, 400, 300}},
        {"a shadow of the application's",
         R"(,"frame":{"x":10,"y":20,"width":400,"height":300},"buffer":{"x":-16,"y":-3,"width":452,"height":349})",
         {10, 20, 400, 300}},
        {"fractions",
         R"(,"frame":{"x":0.5,"y":0,"width":4,"height":4},"buffer":{"x":0.5,"y":0,"width":4,"height":4})",
         {0.5, 0, 4, 4}},
        {"nothing told", "", {0, 0, 0, 0}},
    };
    for (const auto& [what, more, seen] : cases) {
        const auto views = readKWinViews(listOf({view(more)}));
        ASSERT_EQ(views.size(), 1U) << what;
        EXPECT_EQ(views[0].area, seen) << what;
    }
}

}  // namespace
}  // namespace varkel
