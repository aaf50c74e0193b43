#include "support/ScriptedDesktop.h"

#include <utility>

namespace varkel::test {

namespace {

class Source final : public CGImageSource {};
class Image final : public CGImage {};

}  // namespace

class ScriptedDesktop::ScriptedVision final : public Vision {
  public:
    explicit ScriptedVision(ScriptedDesktop& desktop) : desktop_(desktop) {}

    CGImageSourceRef CGImageSourceCreateWithData(std::string bytes) override {
        desktop_.lastBytes = bytes;
        return bytes.starts_with("img") ? std::make_shared<const Source>() : nullptr;
    }
    CGImageRef CGImageSourceCreateImageAtIndex(const CGImageSourceRef& source, std::size_t index) override {
        return source && index == 0 ? std::make_shared<const Image>() : nullptr;
    }
    std::size_t CGImageGetWidth(const CGImageRef&) override { return desktop_.width; }
    std::size_t CGImageGetHeight(const CGImageRef&) override { return desktop_.height; }

    bool performRequests(const CGImageRef&, std::span<const VNRequest> requests,
                         const std::stop_token& cancelled) override {
        ++desktop_.runs;
        desktop_.duringRun(cancelled);
        if (desktop_.recognitionFails || cancelled.stop_requested()) return false;
        for (const VNRequest& request : requests) {
            if (auto* const* lines = std::get_if<VNRecognizeTextRequest*>(&request)) {
                (*lines)->results = desktop_.text;
            }
            if (auto* const* codes = std::get_if<VNDetectBarcodesRequest*>(&request)) {
                (*codes)->results = desktop_.barcodes;
            }
        }
        return true;
    }

  private:
    ScriptedDesktop& desktop_;
};

ScriptedDesktop::ScriptedDesktop() {
    time = 1'700'000'000.02;
    frontmost = 100;
    addApplication(100);
    trusted = false;
    Platform::current().vision = std::make_unique<ScriptedVision>(*this);
}

VNRecognizedTextObservation line(std::string text, CGRect box, float confidence) {
    return {box, {{std::move(text), confidence}}};
}

}  // namespace varkel::test
