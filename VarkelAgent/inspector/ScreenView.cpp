#include "inspector/ScreenView.h"

#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>
#include <utility>

#include "base/BlockingPool.h"
#include "client/Image.h"
#include "http/FailureTable.h"
#include "http/JSONResponse.h"

namespace varkel::inspector {

namespace json = boost::json;

namespace {

constexpr const char* areaHeader = "X-Varkel-Area";
constexpr std::chrono::seconds recognising(120);

std::string describe(const ScreenArea& area) {
    return std::to_string(area.x) + ' ' + std::to_string(area.y) + ' ' + std::to_string(area.width) + ' ' +
           std::to_string(area.height);
}

}  // namespace

ScreenView::Image ScreenView::last() const {
    const std::lock_guard lock(mutex_);
    return last_;
}

Task<HTTPResponse> ScreenView::take() {
    const auto work = [this] {
        const ScreenImage image = screen_.capture(std::nullopt);
        return Image{std::make_shared<const std::string>(encodePNG(image)), describe(image.area)};
    };
    try {
        const Image image = co_await runBlocking(work);
        HTTPResponse response;
        response.setHeader("Content-Type", "image/png");
        response.setHeader(areaHeader, image.area);
        response.body = image.file;
        const std::lock_guard lock(mutex_);
        last_ = image;
        co_return response;
    } catch (const ScreenError& error) {
        co_return jsonResponse(500, {{"error", "no_image"}, {"message", error.what()}});
    }
}

Task<HTTPResponse> ScreenView::recognise(std::string path, std::string body) {
    const Image image = last();
    if (!image.file) co_return badRequestResponse("There is no image yet.");
    json::error_code error;
    json::value fields = json::parse(body, error);
    if (error || !fields.is_object()) co_return badRequestResponse("Invalid JSON body");
    const auto encode = [&] {
        // Only an image of the screen is looked at: no file that a page might name.
        fields.get_object().erase("imagePath");
        fields.get_object()["imageBase64"] = encodeBase64(*image.file);
        return json::serialize(fields);
    };
    std::string message = co_await runBlocking(encode);
    HTTPResponse response = co_await relay_.send("POST", std::move(path), std::move(message), recognising);
    response.setHeader(areaHeader, image.area);
    co_return response;
}

}  // namespace varkel::inspector
