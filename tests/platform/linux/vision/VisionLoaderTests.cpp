#include <gtest/gtest.h>

#include "ocr/OCR.h"
#include "platform/linux/vision/VisionLoader.h"
#include "routes/TreeAndOCR.h"
#include "support/FakeDesktop.h"
#include "support/RunTask.h"
#include "visual/VisualFind.h"

namespace varkel {

TEST(VisionLoader, WithoutItsModuleTheAnswerIsAFailureAndNotABadImage) {
    test::FakeDesktop desktop;
    desktop.addApplication(1);
    desktop.frontmost = 1;
    Platform::current().vision = std::make_unique<VisionLoader>("/no/such/module.so");
    const auto why = [](const std::string& error) {
        return R"(500 {"error":")" + error + R"(","message":"the recognition module could not be loaded"})";
    };
    const std::string body = R"({"imageBase64":"aW1n","query":"x"})";
    EXPECT_EQ(test::statusAndBody(test::answerOf("/ocr", body)), why("ocr_failed"));
    EXPECT_EQ(test::statusAndBody(test::answerOf("/visual/find", body)), why("visual_find_failed"));
    EXPECT_EQ(test::statusAndBody(test::answerOf("/ax/tree_and_ocr", body)), why("internal_error"));
}

}  // namespace varkel
