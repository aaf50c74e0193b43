#include "ax/ElementSearch.h"

#include <array>
#include <optional>

#include "ax/AXTreeBuilder.h"
#include "ax/Attributes.h"
#include "ax/ElementId.h"
#include "ax/PathCache.h"
#include "base/ParseInteger.h"
#include "platform/Platform.h"

namespace varkel {

namespace {

// What enters an id, and the way down.
constexpr std::array idAttributes{AXAttribute::role, AXAttribute::title, AXAttribute::identifier,
                                  AXAttribute::children};

class IdWalk {
  public:
    explicit IdWalk(std::string_view targetId) : targetId_(targetId) {}

    AXUIElementRef search(const AXUIElementRef& element, const std::string& path) {
        announce(element);
        if (++elements_ > maxTreeElements) return nullptr;
        if (elementId(readIdentity(element), path) == targetId_) return element;
        if (ancestors_.depth() >= maxTreeDepth) return nullptr;
        const auto children = getChildren(element);
        if (!children) return nullptr;
        ancestors_.enter(element);
        AXUIElementRef found;
        for (std::size_t i = 0; i < children->size() && !found; ++i) {
            const AXUIElementRef& child = (*children)[i];
            if (!ancestors_.contains(child)) found = search(child, childPath(path, i));
        }
        ancestors_.leave();
        return found;
    }

  private:
    /// Announced window by window, so that a hit in an early one spares the reads of the rest.
    void announce(const AXUIElementRef& element) {
        if (ancestors_.depth() > 1) return;
        const std::size_t levels = ancestors_.depth() == 0 ? 1 : maxTreeDepth;
        Platform::current().accessibility->prefetch(element, idAttributes,
                                                    {maxChildrenPerElement, levels, maxTreeElements});
    }

    std::string_view targetId_;
    Ancestors ancestors_;
    std::size_t elements_ = 0;
};

/// The element at an ordinal path below the element at "0", or null when there is none now.
AXUIElementRef followPath(AXUIElementRef element, std::string_view path) {
    std::size_t at = path.find('/');
    while (at != std::string_view::npos) {
        const std::size_t end = path.find('/', at + 1);
        const std::string_view number =
            path.substr(at + 1, end == std::string_view::npos ? end : end - at - 1);
        const auto position = parseInteger<std::size_t>(number);
        auto children = getChildren(element);
        if (!children || !position || *position >= children->size()) return nullptr;
        element = (*children)[*position];
        at = end;
    }
    return element;
}

}  // namespace

AXUIElementRef findElementById(const AXUIElementRef& element, std::string_view targetId,
                               std::string_view ordinalPath) {
    return IdWalk(targetId).search(element, std::string(ordinalPath));
}

AXUIElementRef findElementInApplication(const AXUIElementRef& application, const std::string& targetId) {
    if (const auto path = PathCache::shared().pathOf(targetId)) {
        AXUIElementRef candidate = followPath(application, *path);
        if (candidate && elementId(readIdentity(candidate), *path) == targetId) return candidate;
    }
    return findElementById(application, targetId, "0");
}

}  // namespace varkel
