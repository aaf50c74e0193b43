#include "ax/Attributes.h"

#include <utility>
#include <variant>

#include "platform/Platform.h"

namespace varkel {

namespace {

Accessibility& accessibility() {
    return *Platform::current().accessibility;
}

}  // namespace

template <class T>
std::optional<T> getAttribute(const AXUIElementRef& element, AXAttribute attribute) {
    auto result = accessibility().AXUIElementCopyAttributeValue(element, attribute);
    if (!result) return std::nullopt;
    T* value = std::get_if<T>(&result.value);
    if (value == nullptr) return std::nullopt;
    return std::move(*value);
}

template std::optional<std::string> getAttribute(const AXUIElementRef&, AXAttribute);
template std::optional<bool> getAttribute(const AXUIElementRef&, AXAttribute);

std::optional<std::vector<AXUIElementRef>> getChildren(const AXUIElementRef& element) {
    auto result = accessibility().AXUIElementCopyAttributeValues(element, AXAttribute::children, 0,
                                                                 maxChildrenPerElement);
    if (!result) return std::nullopt;
    if (result.value.size() > maxChildrenPerElement) result.value.resize(maxChildrenPerElement);
    return std::move(result.value);
}

std::optional<AXFrame> getFrame(const AXUIElementRef& element) {
    const auto packed = [&](AXAttribute attribute) -> std::optional<AXValue> {
        auto result = accessibility().AXUIElementCopyAttributeValue(element, attribute);
        if (!result) return std::nullopt;
        const bool isGeometry =
            std::holds_alternative<CGPoint>(result.value) || std::holds_alternative<CGSize>(result.value);
        return isGeometry ? std::optional(std::move(result.value)) : std::nullopt;
    };
    const auto position = packed(AXAttribute::position);
    if (!position) return std::nullopt;
    const auto size = packed(AXAttribute::size);
    if (!size) return std::nullopt;
    // A packed value of the other kind unpacks to zeros: the element still has a frame, only a useless one.
    const auto* point = std::get_if<CGPoint>(&*position);
    const auto* extent = std::get_if<CGSize>(&*size);
    const CGPoint origin = point != nullptr ? *point : CGPoint{};
    const CGSize area = extent != nullptr ? *extent : CGSize{};
    return AXFrame{origin.x, origin.y, area.width, area.height};
}

}  // namespace varkel
