#pragma once

#include <mutex>
#include <string>

#include "platform/Vision.h"

namespace varkel {

/// Vision from a module that is loaded on first use: linked into the agent, its libraries would cost every
/// start more than the rest of it. Without the module every operation raises VisionUnavailable; the next one
/// looks for it again.
class VisionLoader final : public Vision {
  public:
    /// Looks for the module beside the running program, in the folder where an installed agent keeps it, then
    /// where the linker looks.
    VisionLoader() = default;
    /// Takes the module at this path.
    explicit VisionLoader(std::string path) : path_(std::move(path)) {}

    CGImageSourceRef CGImageSourceCreateWithData(std::string bytes) override;
    CGImageRef CGImageSourceCreateImageAtIndex(const CGImageSourceRef& source, std::size_t index) override;
    std::size_t CGImageGetWidth(const CGImageRef& image) override;
    std::size_t CGImageGetHeight(const CGImageRef& image) override;
    bool performRequests(const CGImageRef& image, std::span<const VNRequest> requests,
                         const std::stop_token& cancelled) override;

  private:
    Vision& module();

    const std::string path_;
    std::mutex mutex_;
    /// Null until it has been loaded; then kept until the process ends, like its worker threads.
    Vision* module_ = nullptr;
};

}  // namespace varkel
