#pragma once

#include <array>
#include <boost/describe/class.hpp>
#include <optional>
#include <string>
#include <vector>

#include "base/Task.h"
#include "http/FailureTable.h"
#include "http/HTTPMessage.h"
#include "visual/VisualScoring.h"

namespace varkel {

/// The body of a visual find request.
struct VisualFindOptions {
    std::optional<std::string> imageBase64;
    std::optional<std::string> imagePath;
    std::string query;
};
BOOST_DESCRIBE_STRUCT(VisualFindOptions, (), (imageBase64, imagePath, query))

/// The body of a successful visual find request, the best match first.
struct VFResponse {
    std::vector<VisualFindResult> results;
};
BOOST_DESCRIBE_STRUCT(VFResponse, (), (results))

/// Finds the query among an image's text lines and barcodes. Throws HTTPError: badRequest when there is no
/// usable image, invalidRequest when the recognition fails. Any thread that may block.
std::vector<VisualFindResult> performVisualFindBlocking(const VisualFindOptions& options);

/// Answers a visual find request. Started on an I/O thread; throws as performVisualFindBlocking() does.
Task<HTTPResponse> performVisualFind(VisualFindOptions options);

/// How what performVisualFind() throws is answered.
inline constexpr std::array<FailureRule, 2> visualFindFailures{{
    {Failure::badRequest, 400, badRequestCode, FailureRule::Detail::message, "No valid image provided"},
    {Failure::other, 500, "visual_find_failed", FailureRule::Detail::what},
}};

}  // namespace varkel
