#pragma once

#include <array>
#include <boost/describe/class.hpp>
#include <cstdint>
#include <optional>
#include <string>

#include "ax/AXError.h"
#include "base/Task.h"
#include "http/FailureTable.h"
#include "http/HTTPMessage.h"

namespace varkel {

/// The body of a request for a tree and the lines of an image.
struct TreeAndOCRRequest {
    std::optional<std::int64_t> root_pid;
    std::optional<std::string> imageBase64;
    std::optional<std::string> imagePath;
    std::optional<std::int64_t> pid;
    std::optional<std::uint64_t> windowId;
};
BOOST_DESCRIBE_STRUCT(TreeAndOCRRequest, (), (root_pid, imageBase64, imagePath, pid, windowId))

/// Reads an application's tree and an image's text at the same time. Throws what either throws.
Task<HTTPResponse> treeAndOCR(TreeAndOCRRequest request);

/// How what treeAndOCR() throws is answered.
inline constexpr std::array<FailureRule, 2> treeAndOCRFailures{{
    {Failure::unauthorized, 403, wireName(AXErrorCode::permissionMissing), FailureRule::Detail::hint,
     accessibilityHint},
    {Failure::other, 500, "internal_error", FailureRule::Detail::what},
}};

}  // namespace varkel
