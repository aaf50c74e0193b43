#include <gtest/gtest.h>
#include <sys/stat.h>

#include "ocr/OCR.h"
#include "support/RunTask.h"
#include "support/ScriptedDesktop.h"
#include "support/TemporaryFolder.h"

namespace varkel::test {
namespace {

HTTPResponse post(const std::string& body) {
    return answerOf("/ocr", body);
}

std::string cacheHeader(const HTTPResponse& response) {
    return headerOf(response, "X-Varkel-Cache");
}

/// A body whose image is "img" and the given bytes, in base64 that needs no padding.
std::string bodyFor(const std::string& threeBytes, const std::string& more = "") {
    static const std::map<std::string, std::string> encoded{
        {"one", "b25l"}, {"two", "dHdv"}, {"six", "c2l4"}};
    return R"({"imageBase64":"aW1n)" + encoded.at(threeBytes) + "\"" + more + "}";
}

class OCRRequests : public testing::Test {
  protected:
    OCRRequests() {
        // The shared cache outlives the cases: each starts in a second of its own.
        static double second = 1'700'000'000;
        desktop.time = second += 10;
    }

    ScriptedDesktop desktop;
    const TemporaryFolder folder;
};

TEST_F(OCRRequests, AnswersLinesWithPixelBoxesFromTheTopLeft) {
    desktop.text = {line("Save", {0.25, 0.5, 0.5, 0.25}, 0.8F), {{0, 0, 1, 1}, {}}};
    const HTTPResponse response = post(bodyFor("one"));
    EXPECT_EQ(response.status, 200);
    EXPECT_EQ(
        *response.body,
        R"({"results":[{"text":"Save","confidence":0.8,"boundingBox":{"x":250,"y":100,"width":500,"height":100}}]})");
    EXPECT_EQ(cacheHeader(response), "MISS");
}

TEST_F(OCRRequests, RepeatsWithinATenthOfASecondComeFromTheCache) {
    EXPECT_EQ(*post(bodyFor("one")).body, R"({"results":[]})");
    const std::tuple<std::string, double, const char*> steps[] = {
        {bodyFor("one"), 0.05, "HIT"},
        {bodyFor("one", R"(,"pid":0,"windowId":0)"), 0, "HIT"},
        {bodyFor("one", R"(,"pid":null,"windowId":null,"other":1)"), 0, "HIT"},
        {bodyFor("one", R"(,"pid":7)"), 0, "MISS"},
        {bodyFor("one", R"(,"windowId":18446744073709551615)"), 0, "MISS"},
        {bodyFor("two"), 0, "MISS"},
        {bodyFor("one"), 0.06, "MISS"},
    };
    for (const auto& [body, later, cache] : steps) {
        desktop.time += later;
        const int runs = desktop.runs;
        EXPECT_EQ(cacheHeader(post(body)), cache) << body << later;
        EXPECT_EQ(desktop.runs - runs, std::string(cache) == "MISS" ? 1 : 0) << body;
    }
}

TEST_F(OCRRequests, AnotherApplicationInFrontEmptiesTheCache) {
    post(bodyFor("one"));
    desktop.frontmost = 4321;
    EXPECT_EQ(cacheHeader(post(bodyFor("one"))), "MISS");
    EXPECT_EQ(cacheHeader(post(bodyFor("one"))), "HIT");
    desktop.frontmost = 100;
}

TEST_F(OCRRequests, TakesTheImageFromBase64FirstAndFromTheFileOtherwise) {
    const std::string path = folder.write("picture", "img from file");
    const std::string pathField = R"("imagePath":")" + path + "\"";
    EXPECT_EQ(post(R"({"imageBase64":"aW1n","imagePath":"/nowhere"})").status, 200);
    EXPECT_EQ(desktop.lastBytes, "img");
    for (const std::string& body : {"{" + pathField + "}", R"({"imageBase64":"aW\n1n",)" + pathField + "}",
                                    R"({"imageBase64":null,)" + pathField + "}"}) {
        desktop.lastBytes.clear();
        desktop.time += 1;
        EXPECT_EQ(post(body).status, 200) << body;
        EXPECT_EQ(desktop.lastBytes, "img from file") << body;
    }
}

TEST_F(OCRRequests, UnusableImagesAndBodiesAreTheCallersFault) {
    ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
    const std::string noImage =
        R"({"error":"bad_request","message":"No valid image provided or could not decode image"})";
    // Reading a pipe would wait for a writer that never comes.
    for (const std::string& body :
         {std::string("{}"), std::string(R"({"imageBase64":"bm8gaW1hZ2U="})"),
          std::string(R"({"imagePath":""})"), std::string(R"({"imagePath":"/no/such/file"})"),
          R"({"imagePath":")" + folder.path().string() + "\"}", R"({"imagePath":")" + folder / "pipe" + "\"}",
          bodyFor("six", R"(,"pid":4294967297)")}) {
        EXPECT_EQ(statusAndBody(post(body)), "400 " + noImage) << body;
    }
}

}  // namespace
}  // namespace varkel::test
