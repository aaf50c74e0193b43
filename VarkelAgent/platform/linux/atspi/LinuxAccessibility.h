#pragma once

#include <utility>

#include "platform/Accessibility.h"
#include "platform/EventPoster.h"
#include "platform/linux/atspi/AtspiBus.h"
#include "platform/linux/atspi/ElementPlaces.h"

namespace varkel {

/// Accessibility over AT-SPI2. An element's handle shares its request's AtspiSession.
class LinuxAccessibility : public Accessibility {
  public:
    /// `bus` and `events` outlive this object. `screenWindows` is called from any thread.
    LinuxAccessibility(AtspiBus& bus, EventPoster& events, ElementPlaces::ScreenWindows screenWindows)
        : bus_(bus), events_(events), screenWindows_(std::move(screenWindows)) {}

    bool AXIsProcessTrusted() override { return bus_.isReachable(); }
    bool isKnownTrusted() override { return bus_.isKnownReachable(); }
    AXUIElementRef AXUIElementCreateApplication(pid_t pid) override;
    AXResult<AXValue> AXUIElementCopyAttributeValue(const AXUIElementRef& element,
                                                    AXAttribute attribute) override;
    AXResult<std::vector<AXUIElementRef>> AXUIElementCopyAttributeValues(const AXUIElementRef& element,
                                                                         AXAttribute attribute,
                                                                         std::size_t first,
                                                                         std::size_t maxCount) override;
    AXResult<pid_t> AXUIElementGetPid(const AXUIElementRef& element) override;
    AXError AXUIElementPerformAction(const AXUIElementRef& element, AXAction action) override;
    AXError AXUIElementSetAttributeValue(const AXUIElementRef& element, AXAttribute attribute,
                                         const AXValue& value) override;
    bool CFEqual(const AXUIElementRef& a, const AXUIElementRef& b) override;
    void prefetch(const AXUIElementRef& element, std::span<const AXAttribute> attributes,
                  const PrefetchScope& scope) override;
    void announce() override;

  private:
    AXError scroll(const AXUIElementRef& element, AXAction direction);

    AtspiBus& bus_;
    EventPoster& events_;
    const ElementPlaces::ScreenWindows screenWindows_;
};

}  // namespace varkel
