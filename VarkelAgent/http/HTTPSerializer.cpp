#include "http/HTTPSerializer.h"

#include <cstddef>
#include <string_view>

#include "base/UnicodeText.h"

namespace varkel {

namespace {

constexpr std::string_view lineEnd = "\r\n";

}  // namespace

std::string serializeHead(const HTTPResponse& response) {
    std::string head = "HTTP/1.1 " + std::to_string(response.status) + ' ' + statusText(response.status);
    head += lineEnd;
    bool hasConnection = false;
    bool hasLength = false;
    for (const auto& [name, value] : response.headers) {
        head.append(name).append(": ").append(value).append(lineEnd);
        hasConnection = hasConnection || equalsIgnoringCase(name, "connection");
        hasLength = hasLength || equalsIgnoringCase(name, "content-length");
    }
    if (!hasConnection) head.append("Connection: keep-alive").append(lineEnd);
    if (!hasLength) {
        const std::size_t length = response.body ? response.body->size() : 0;
        head.append("Content-Length: ").append(std::to_string(length)).append(lineEnd);
    }
    head += lineEnd;
    return head;
}

std::string serializeResponse(const HTTPResponse& response) {
    std::string bytes = serializeHead(response);
    if (response.body) bytes += *response.body;
    return bytes;
}

const char* statusText(int status) {
    switch (status) {
        case 200:
            return "OK";
        case 201:
            return "Created";
        case 400:
            return "Bad Request";
        case 401:
            return "Unauthorized";
        case 404:
            return "Not Found";
        case 405:
            return "Method Not Allowed";
        case 500:
            return "Internal Server Error";
        default:
            return "Unknown";
    }
}

}  // namespace varkel
