#include <gmock/gmock.h>

#include "ax/BatchManager.h"
#include "support/FakeDesktop.h"
#include "support/RunTask.h"

namespace varkel {
namespace {

using test::FakeDesktop;

std::string answer(std::string_view route, const std::string& body) {
    return test::statusAndBody(test::answerOf(route, body));
}

TEST(TreeRoute, TakesAMapOfIntegersOnly) {
    FakeDesktop desktop;
    desktop.addApplication(1, "Front");
    desktop.addApplication(123, "Named");
    desktop.frontmost = 1;
    constexpr const char* refused = R"(400 {"error":"bad_request"})";
    const struct {
        const char* body;
        const char* outcome;
    } cases[] = {
        {R"({"root_pid": 123})", "Named"},
        {R"({"root_pid": 123.0, "other": null})", "Named"},
        {"{}", "Front"},
        {R"({"root_pid": null})", "Front"},
        {R"({"root_pid": 1, "root_pid": 123})", "Named"},
        {R"({"batch_id": "x"})", refused},
        {R"({"root_pid": 99999999999})", refused},
    };
    for (const auto& [body, outcome] : cases) {
        EXPECT_THAT(answer("/ax/tree", body), testing::HasSubstr(outcome)) << body;
    }
}

TEST(BatchRoutes, UseTheDefaultIdForABodyThatIsNoTextMap) {
    FakeDesktop desktop;
    desktop.frontmost = 55;
    for (const char* body :
         {"", "{}", R"({"batch_id": null})", R"({"batch_id": 7})", R"({"batch_id": "mine", "other": 1})"}) {
        EXPECT_EQ(answer("/batch/begin", body), R"(200 {"ok":true,"batch_id":"default"})") << body;
        EXPECT_EQ(BatchManager::shared().lookup("default"), 55);
        EXPECT_EQ(answer("/batch/end", body), R"(200 {"ok":true,"batch_id":"default"})") << body;
        EXPECT_EQ(BatchManager::shared().lookup("default"), std::nullopt);
    }
    EXPECT_EQ(answer("/batch/begin", R"({"batch_id": "mine"})"), R"(200 {"ok":true,"batch_id":"mine"})");
    desktop.frontmost = 56;
    answer("/batch/begin", R"({"batch_id": "mine"})");
    EXPECT_EQ(BatchManager::shared().lookup("mine"), 56);

    desktop.frontmost.reset();
    EXPECT_EQ(answer("/batch/begin", "not json"), R"(500 {"error":"could_not_get_frontmost_app"})");
    desktop.trusted = false;
    EXPECT_THAT(answer("/batch/begin", "{}"), testing::StartsWith(R"(403 {"error":"ax_permission_missing")"));
    EXPECT_EQ(answer("/batch/end", R"({"batch_id": "mine"})"), R"(200 {"ok":true,"batch_id":"mine"})")
        << "ending needs no permission";
}

}  // namespace
}  // namespace varkel
