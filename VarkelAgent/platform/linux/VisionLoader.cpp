#include "platform/linux/VisionLoader.h"

#include <dlfcn.h>

#include <filesystem>
#include <system_error>
#include <utility>

#include "platform/linux/VisionModule.h"

namespace varkel {

namespace {

std::string besideProgram() {
    std::error_code failure;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", failure);
    return failure ? std::string() : (program.parent_path() / visionModuleFile).string();
}

Vision* load(const std::string& path) {
    if (path.empty()) return nullptr;
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
        module_ = load(besideProgram());
        if (module_ == nullptr) module_ = load(visionModuleFile);
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
