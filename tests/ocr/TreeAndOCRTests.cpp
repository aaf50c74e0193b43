#include <gtest/gtest.h>

#include <boost/json.hpp>
#include <chrono>
#include <condition_variable>
#include <mutex>

#include "routes/TreeAndOCR.h"
#include "support/RunTask.h"
#include "support/ScriptedDesktop.h"

namespace varkel {
namespace {

using test::line;
using test::runTask;
using test::ScriptedDesktop;

HTTPResponse post(const std::string& body) {
    HTTPRequest request;
    request.body = body;
    return runTask(treeAndOCR(std::move(request)));
}

std::map<std::string, std::string> cacheHeaders(const HTTPResponse& response) {
    std::map<std::string, std::string> headers;
    for (const auto& [name, value] : response.headers) {
        if (name.starts_with("X-Varkel")) headers[name] = value;
    }
    return headers;
}

TEST(TreeAndOCR, AnswersBothAndTellsWhereEachCameFrom) {
    ScriptedDesktop desktop;
    desktop.trusted = true;
    desktop.time = 1'800'000'000;
    desktop.text = {line("Save", {0.25, 0.5, 0.5, 0.25})};
    const std::string body = R"({"imageBase64":"aW1nb25l"})";
    using Headers = std::map<std::string, std::string>;

    const HTTPResponse first = post(body);
    ASSERT_EQ(first.status, 200);
    EXPECT_EQ(
        cacheHeaders(first),
        (Headers{{"X-Varkel-Cache", "MISS"}, {"X-Varkel-AX-Cache", "MISS"}, {"X-Varkel-OCR-Cache", "MISS"}}));
    const boost::json::value answer = boost::json::parse(*first.body);
    EXPECT_EQ(answer.as_object().size(), 2U);
    EXPECT_EQ(answer.at("tree").at("role"), "AXApplication");
    EXPECT_EQ(answer.at("ocr").at(0).at("text"), "Save");

    EXPECT_EQ(
        cacheHeaders(post(body)),
        (Headers{{"X-Varkel-Cache", "HIT"}, {"X-Varkel-AX-Cache", "HIT"}, {"X-Varkel-OCR-Cache", "HIT"}}));
    desktop.time += 0.5;
    EXPECT_EQ(
        cacheHeaders(post(body)),
        (Headers{{"X-Varkel-Cache", "MISS"}, {"X-Varkel-AX-Cache", "HIT"}, {"X-Varkel-OCR-Cache", "MISS"}}));
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
    EXPECT_TRUE(cacheHeaders(response).empty());
}

TEST(TreeAndOCR, OtherErrorsAreInternalOnesWithTheirNames) {
    ScriptedDesktop desktop;
    desktop.trusted = true;
    desktop.time = 1'900'000'000;
    struct Case {
        const char* body;
        std::optional<pid_t> frontmost;
        bool recognitionFails;
        const char* message;
    };
    const Case cases[] = {
        {"{}", 100, false, "badRequest"},
        {R"({"imageBase64":"aW1ndHdv"})", std::nullopt, false, "invalidRequest"},
        {R"({"imageBase64":"aW1ndHdv"})", 100, true, "invalidRequest"},
    };
    for (const Case& one : cases) {
        desktop.time += 100;
        desktop.frontmost = one.frontmost;
        desktop.recognitionFails = one.recognitionFails;
        const HTTPResponse response = post(one.body);
        EXPECT_EQ(response.status, 500) << one.body << *response.body << one.frontmost.value_or(0);
        const boost::json::value answer = boost::json::parse(*response.body);
        EXPECT_EQ(answer.at("error"), "internal_error") << one.body;
        EXPECT_EQ(answer.at("message"), one.message) << one.body;
    }
}

TEST(TreeAndOCR, ABodyThatDoesNotDecodeIsAnsweredWithTheDecodersWords) {
    ScriptedDesktop desktop;
    for (const char* body : {"", "x", R"({"root_pid":"1"})", R"({"windowId":-1})"}) {
        const HTTPResponse response = post(body);
        EXPECT_EQ(response.status, 400) << body;
        const boost::json::value answer = boost::json::parse(*response.body);
        EXPECT_EQ(answer.at("error"), "bad_request") << body;
        EXPECT_FALSE(answer.at("message").as_string().empty()) << body;
    }
    EXPECT_EQ(desktop.runs, 0);
}

}  // namespace
}  // namespace varkel
