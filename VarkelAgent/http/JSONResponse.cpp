#include "http/JSONResponse.h"

namespace varkel {

namespace {

const SharedBody& fallbackBody() {
    static const SharedBody body =
        std::make_shared<const std::string>(R"({"error": "json_serialization_failed"})");
    return body;
}

}  // namespace

HTTPResponse jsonTextResponse(int status, SharedBody text) {
    HTTPResponse response;
    response.status = status;
    response.headers.reserve(3);
    response.headers.emplace_back("Content-Type", "application/json");
    response.headers.emplace_back("Content-Length", std::to_string(text->size()));
    response.body = std::move(text);
    return response;
}

HTTPResponse jsonTextResponse(int status, std::optional<std::string> text) {
    if (!text) return jsonTextResponse(status, fallbackBody());
    return jsonTextResponse(status, std::make_shared<const std::string>(std::move(*text)));
}

}  // namespace varkel
