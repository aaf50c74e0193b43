#include "platform/linux/vision/VisionLoader.h"

#include <dlfcn.h>

#include <utility>
#include <vector>

#include "platform/linux/vision/VisionModule.h"
#include "platform/posix/SystemToolPaths.h"

namespace varkel {

namespace {

Vision* load(const std::string& path) {
    void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) return nullptr;
    auto* make = reinterpret_cast<MakeVision*>(dlsym(library, visionModuleEntry));
    return make != nullptr ? make(visionModuleVersion) : nullptr;
}

}  // namespace

Vision& VisionLoader::module() {
    const std::scoped_lock lock(mutex_);
    if (module_ != nullptr) return *module_;
    const std::string program = executableDirectory();
    const std::vector<std::string> paths =
        path_.empty()
            ? std::vector<std::string>{program + "/" + visionModuleFile,
                                       program + "/../lib/varkel-agent/" + visionModuleFile, visionModuleFile}
            : std::vector<std::string>{path_};
    for (const std::string& path : paths) {
        if (module_ == nullptr) module_ = load(path);
    }
    if (module_ == nullptr) throw VisionUnavailable("the recognition module could not be loaded");
    return *module_;
}

CGImageSourceRef VisionLoader::CGImageSourceCreateWithData(std::string bytes) {
    return module().CGImageSourceCreateWithData(std::move(bytes));
}

CGImageRef VisionLoader::CGImageSourceCreateImageAtIndex(const CGImageSourceRef& source, std::size_t index) {
    return module().CGImageSourceCreateImageAtIndex(source, index);
}

std::size_t VisionLoader::CGImageGetWidth(const CGImageRef& image) {
    return module().CGImageGetWidth(image);
}

std::size_t VisionLoader::CGImageGetHeight(const CGImageRef& image) {
    return module().CGImageGetHeight(image);
}

bool VisionLoader::performRequests(const CGImageRef& image, std::span<const VNRequest> requests,
                                   const std::stop_token& cancelled) {
    return module().performRequests(image, requests, cancelled);
}

}  // namespace varkel
