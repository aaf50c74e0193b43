#include "platform/linux/VisionLoader.h"

#include <dlfcn.h>

#include <utility>

#include "platform/linux/VisionModule.h"
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

Vision* VisionLoader::module() {
    std::call_once(loaded_, [this] {
        if (!path_.empty()) {
            module_ = load(path_);
            return;
        }
        const std::string program = executableDirectory();
        for (const std::string& folder : {program + "/", program + "/../lib/varkel-agent/", std::string()}) {
            module_ = load(folder + visionModuleFile);
            if (module_ != nullptr) return;
        }
    });
    return module_;
}

CGImageSourceRef VisionLoader::CGImageSourceCreateWithData(std::string bytes) {
    Vision* vision = module();
    return vision != nullptr ? vision->CGImageSourceCreateWithData(std::move(bytes)) : nullptr;
}

CGImageRef VisionLoader::CGImageSourceCreateImageAtIndex(const CGImageSourceRef& source, std::size_t index) {
    Vision* vision = module();
    return vision != nullptr ? vision->CGImageSourceCreateImageAtIndex(source, index) : nullptr;
}

std::size_t VisionLoader::CGImageGetWidth(const CGImageRef& image) {
    Vision* vision = module();
    return vision != nullptr ? vision->CGImageGetWidth(image) : 0;
}

std::size_t VisionLoader::CGImageGetHeight(const CGImageRef& image) {
    Vision* vision = module();
    return vision != nullptr ? vision->CGImageGetHeight(image) : 0;
}

bool VisionLoader::performRequests(const CGImageRef& image, std::span<const VNRequest> requests,
                                   const std::stop_token& cancelled) {
    Vision* vision = module();
    return vision != nullptr && vision->performRequests(image, requests, cancelled);
}

}  // namespace varkel
