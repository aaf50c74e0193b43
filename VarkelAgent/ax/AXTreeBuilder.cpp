#include "ax/AXTreeBuilder.h"

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "ax/Attributes.h"
#include "ax/ElementId.h"
#include "platform/Platform.h"

namespace varkel {

namespace {

constexpr std::array treeAttributes{AXAttribute::role,       AXAttribute::title,   AXAttribute::value,
                                    AXAttribute::identifier, AXAttribute::enabled, AXAttribute::focused,
                                    AXAttribute::position,   AXAttribute::size,    AXAttribute::children};

/// One walk, depth first: an element's attributes before its first child, its subtree before its next
/// sibling.
class TreeWalk {
  public:
    AXElementInfo read(const AXUIElementRef& element, const std::string& path) {
        ++elements_;
        AXElementInfo info;
        ElementIdentity identity = readIdentity(element);
        info.id = elementId(identity, path);
        info.role = std::move(identity.role);
        info.label = withinBounds(std::move(identity.title));
        info.identifier = withinBounds(std::move(identity.identifier));
        info.value = withinBounds(getAttribute<std::string>(element, AXAttribute::value));
        info.enabled = getAttribute<bool>(element, AXAttribute::enabled);
        info.focused = getAttribute<bool>(element, AXAttribute::focused);
        info.frame = getFrame(element);
        info.children = readChildren(element, path);
        return info;
    }

  private:
    std::optional<std::vector<AXElementInfo>> readChildren(const AXUIElementRef& element,
                                                           const std::string& path) {
        if (ancestors_.depth() >= maxTreeDepth) return std::nullopt;
        const auto children = getChildren(element);
        if (!children) return std::nullopt;
        ancestors_.enter(element);
        std::vector<AXElementInfo> infos;
        infos.reserve(children->size());
        for (std::size_t i = 0; i < children->size() && elements_ < maxTreeElements; ++i) {
            const AXUIElementRef& child = (*children)[i];
            if (ancestors_.contains(child)) continue;
            infos.push_back(read(child, childPath(path, i)));
            infos.back().position = i;
        }
        ancestors_.leave();
        return infos;
    }

    /// The text, unless the tree holds too much already.
    std::optional<std::string> withinBounds(std::optional<std::string> text) {
        if (!text) return std::nullopt;
        if (text->size() > maxTreeText - textBytes_) return std::nullopt;
        textBytes_ += text->size();
        return text;
    }

    Ancestors ancestors_;
    std::size_t elements_ = 0;
    std::size_t textBytes_ = 0;
};

}  // namespace

bool Ancestors::contains(const AXUIElementRef& element) const {
    Accessibility& accessibility = *Platform::current().accessibility;
    return std::ranges::any_of(
        elements_, [&](const auto& ancestor) { return accessibility.CFEqual(ancestor, element); });
}

AXElementInfo buildTree(const AXUIElementRef& element, std::string_view ordinalPath) {
    const PrefetchScope scope{maxChildrenPerElement, maxTreeDepth, maxTreeElements};
    Platform::current().accessibility->prefetch(element, treeAttributes, scope);
    return TreeWalk().read(element, std::string(ordinalPath));
}

}  // namespace varkel
