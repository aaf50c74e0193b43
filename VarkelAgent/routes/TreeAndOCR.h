#pragma once

#include <boost/describe/class.hpp>
#include <cstdint>
#include <optional>
#include <string>

#include "base/Task.h"
#include "http/HTTPMessage.h"

namespace varkel {

/// The body of a request for a tree and the lines of a picture.
struct TreeAndOCRRequest {
    std::optional<std::int64_t> root_pid;
    std::optional<std::string> imageBase64;
    std::optional<std::string> imagePath;
    std::optional<std::int64_t> pid;
    std::optional<std::uint64_t> windowId;
};
BOOST_DESCRIBE_STRUCT(TreeAndOCRRequest, (), (root_pid, imageBase64, imagePath, pid, windowId))

/// Reads an application's tree and an image's text at the same time. Answers whatever happens.
Task<HTTPResponse> treeAndOCR(HTTPRequest request);

}  // namespace varkel
