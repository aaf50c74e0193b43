#include <gtest/gtest.h>

#include <boost/json.hpp>
#include <chrono>
#include <condition_variable>
#include <mutex>

#include "routes/TreeAndOCR.h"
#include "support/RunTask.h"
#include "support/ScriptedDesktop.h"

namespace varkel::test {
namespace {

HTTPResponse post(const std::string& body) {
    return answerOf("/ax/tree_and_ocr", body);
}

/// Where the whole answer, the tree and the lines came from.
std::string cacheHeaders(const HTTPResponse& response) {
    std::string values;
    for (const char* name : {"X-Varkel-Cache", "X-Varkel-AX-Cache", "X-Varkel-OCR-Cache"}) {
        values += headerOf(response, name) + " ";
    }
    return values;
}

TEST(TreeAndOCR, AnswersBothAndTellsWhereEachCameFrom) {
    ScriptedDesktop desktop;
    desktop.trusted = true;
    desktop.time = 1'800'000'000;
    desktop.text = {line("Save", {0.25, 0.5, 0.5, 0.25})};
    const std::string body = R"({"imageBase64":"aW1nb25l"})";

    const HTTPResponse first = post(body);
    ASSERT_EQ(first.status, 200);
    EXPECT_EQ(cacheHeaders(first), "MISS MISS MISS ");
    const boost::json::value answer = boost::json::parse(*first.body);
    EXPECT_EQ(answer.as_object().size(), 2U);
    EXPECT_EQ(answer.at("tree").at("role"), "AXApplication");
    EXPECT_EQ(answer.at("ocr").at(0).at("text"), "Save");

    EXPECT_EQ(cacheHeaders(post(body)), "HIT HIT HIT ");
    desktop.time += 0.5;
    EXPECT_EQ(cacheHeaders(post(body)), "MISS HIT MISS ");
}

TEST(TreeAndOCR, AFailedTreeCancelsTheRecognitionAndIsTheErrorReported) {
    ScriptedDesktop desktop;
    desktop.trusted = false;
    bool sawCancellation = false;
    desktop.duringRun = [&](const std::stop_token& cancelled) {
        std::mutex mutex;
        std::condition_variable_any wake;
        std::unique_lock lock(mutex);
        wake.wait_for(lock, cancelled, std::chrono::seconds(20), [] { return false; });
        sawCancellation = cancelled.stop_requested();
    };
    const HTTPResponse response = post(R"({"imageBase64":"aW1nc2l4"})");
    EXPECT_EQ(desktop.runs == 0 || sawCancellation, true);
    EXPECT_EQ(response.status, 403);
    EXPECT_EQ(boost::json::parse(*response.body).at("error"), "ax_permission_missing");
    EXPECT_EQ(cacheHeaders(response), "   ");
}

}  // namespace
}  // namespace varkel::test
