#pragma once

#include <span>
#include <string_view>

namespace varkel::inspector {

/// A file of the page, as it was built into the program.
struct PageFile {
    /// Below the page's own path; empty for the page itself.
    std::string_view name;
    std::string_view type;
    std::string_view bytes;
};

/// All of them. Static storage.
std::span<const PageFile> pageFiles();

}  // namespace varkel::inspector
