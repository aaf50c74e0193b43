#include "http/HTTPMessage.h"

#include <algorithm>

namespace varkel {

const std::string* HTTPRequest::header(std::string_view name) const {
    const auto found = headers.find(name);
    return found == headers.end() ? nullptr : &found->second;
}

const std::string* HTTPResponse::header(std::string_view name) const {
    const auto found = std::ranges::find(headers, name, &HTTPHeaders::value_type::first);
    return found == headers.end() ? nullptr : &found->second;
}

void HTTPResponse::setHeader(std::string_view name, std::string_view value) {
    const auto found = std::ranges::find(headers, name, &HTTPHeaders::value_type::first);
    if (found != headers.end()) {
        found->second = value;
        return;
    }
    headers.emplace_back(name, value);
}

const char* HTTPError::caseName(Case errorCase) {
    switch (errorCase) {
        case Case::invalidRequest:
            return "invalidRequest";
        case Case::notFound:
            return "notFound";
        case Case::methodNotAllowed:
            return "methodNotAllowed";
        case Case::badRequest:
            return "badRequest";
        case Case::unauthorized:
            return "unauthorized";
    }
    return "";
}

}  // namespace varkel
