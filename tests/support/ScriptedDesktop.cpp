#include "support/ScriptedDesktop.h"

#include <utility>

namespace varkel::test {

namespace {

class Source final : public CGImageSource {};
class Picture final : public CGImage {};

}  // namespace

class ScriptedDesktop::ScriptedVision final : public Vision {
  public:
    explicit ScriptedVision(ScriptedDesktop& desktop) : desktop_(desktop) {}

    CGImageSourceRef CGImageSourceCreateWithData(std::string bytes) override {
        ++desktop_.decodes;
        desktop_.lastBytes = bytes;
        return bytes.starts_with("img") ? std::make_shared<const Source>() : nullptr;
    }
    CGImageRef CGImageSourceCreateImageAtIndex(const CGImageSourceRef& source, std::size_t index) override {
        return source && index == 0 ? std::make_shared<const Picture>() : nullptr;
    }
    std::size_t CGImageGetWidth(const CGImageRef&) override { return desktop_.width; }
    std::size_t CGImageGetHeight(const CGImageRef&) override { return desktop_.height; }

    bool performRequests(const CGImageRef&, std::span<const VNRequest> requests,
                         const std::stop_token& cancelled) override {
        ++desktop_.runs;
        desktop_.duringRun(cancelled);
        if (desktop_.recognitionFails || cancelled.stop_requested()) return false;
        for (const VNRequest& request : requests) {
            if (auto* const* text = std::get_if<VNRecognizeTextRequest*>(&request))
                (*text)->results = desktop_.text;
            if (auto* const* codes = std::get_if<VNDetectBarcodesRequest*>(&request)) {
                (*codes)->results = desktop_.barcodes;
            }
        }
        return true;
    }

  private:
    ScriptedDesktop& desktop_;
};

class ScriptedDesktop::StillClock final : public Clock {
  public:
    explicit StillClock(ScriptedDesktop& desktop) : desktop_(desktop) {}
    double timeIntervalSince1970() override { return desktop_.time; }

  private:
    ScriptedDesktop& desktop_;
};

class ScriptedDesktop::OneApplication final : public Workspace {
  public:
    explicit OneApplication(ScriptedDesktop& desktop) : desktop_(desktop) {}
    ThreadRule threadRule() const override { return ThreadRule::any; }
    std::optional<pid_t> frontmostApplication() override { return desktop_.frontmost; }

  private:
    ScriptedDesktop& desktop_;
};

/// Applications of one bare element each.
class ScriptedDesktop::NoAccessibility final : public Accessibility {
  public:
    explicit NoAccessibility(ScriptedDesktop& desktop) : desktop_(desktop) {}
    bool AXIsProcessTrusted() override { return desktop_.trusted; }
    AXUIElementRef AXUIElementCreateApplication(pid_t) override { return std::make_shared<AXUIElement>(); }
    AXResult<AXValue> AXUIElementCopyAttributeValue(const AXUIElementRef&, AXAttribute) override {
        return AXResult<AXValue>::failed(AXError::unsupported);
    }
    AXResult<std::vector<AXUIElementRef>> AXUIElementCopyAttributeValues(const AXUIElementRef&, AXAttribute,
                                                                         std::size_t, std::size_t) override {
        return AXResult<std::vector<AXUIElementRef>>::failed(AXError::unsupported);
    }
    AXResult<pid_t> AXUIElementGetPid(const AXUIElementRef&) override { return AXResult<pid_t>::of(100); }
    bool CFEqual(const AXUIElementRef& a, const AXUIElementRef& b) override { return a == b; }

  private:
    ScriptedDesktop& desktop_;
};

ScriptedDesktop::ScriptedDesktop() {
    Platform platform;
    platform.accessibility = std::make_unique<NoAccessibility>(*this);
    platform.workspace = std::make_unique<OneApplication>(*this);
    platform.clock = std::make_unique<StillClock>(*this);
    platform.vision = std::make_unique<ScriptedVision>(*this);
    Platform::install(std::move(platform));
}

ScriptedDesktop::~ScriptedDesktop() {
    Platform::install({});
}

VNRecognizedTextObservation line(std::string text, CGRect box, float confidence) {
    return {box, {{std::move(text), confidence}}};
}

}  // namespace varkel::test
