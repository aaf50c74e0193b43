#include "platform/linux/atspi/ElementPlaces.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <utility>
#include <vector>

namespace varkel {

namespace {

/// Windows of one application that are told apart. Without a bound, one that lists thousands could keep a
/// request busy with comparing them.
constexpr std::size_t maxWindows = 64;

bool isShown(const AtspiExtents& extents) {
    return extents.width > 0 && extents.height > 0;
}

}  // namespace

void ElementPlaces::loadWindows() {
    session_.load(AtspiSession::rootNode, AtspiPart::children);
    std::vector<std::uint32_t> nodes = session_.node(AtspiSession::rootNode).children;
    nodes.resize(std::min(nodes.size(), maxWindows));
    session_.load(nodes, std::array{AtspiPart::name, AtspiPart::states, AtspiPart::extents});
    ProcessWindows shown;
    if (const auto process = session_.pidOf(AtspiSession::rootNode)) shown = screenWindows_(*process);
    shown.windows.resize(std::min(shown.windows.size(), maxWindows));
    convention_ = ExtentsConvention::of(session_.toolkitName());
    convention_.fromSurface = !shown.knowTheirPlace;
    std::vector<AccessibleWindow> accessible;
    for (const std::uint32_t index : nodes) {
        const AtspiExtents top = convention_.fromSurface ? topOfWindow(index) : AtspiExtents();
        const AtspiExtents extents = extentsOfWindow(index);
        const AtspiNode& node = session_.node(index);
        accessible.push_back({extents, node.name, node.states.has(AtspiState::active), top});
    }
    windows_.emplace(convention_, accessible, std::move(shown.windows));
    const auto elsewhere = windows_->arePixelsElsewhere() ? std::optional(Placement()) : std::nullopt;
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        const auto placement = windows_->inWindow(i);
        known_.emplace(nodes[i], Surface{placement ? placement : elsewhere, {}});
    }
    // What none of these windows holds.
    known_.emplace(AtspiSession::rootNode, Surface{elsewhere, {}});
}

/// A window's extents, or those of what fills it: Java's windows have none.
AtspiExtents ElementPlaces::extentsOfWindow(std::uint32_t window) {
    if (!session_.load(window, AtspiPart::extents)) return {};
    if (isShown(session_.node(window).extents) || !session_.load(window, AtspiPart::children))
        return session_.node(window).extents;
    const auto& children = session_.node(window).children;
    const bool filled = !children.empty() && session_.load(children.front(), AtspiPart::extents);
    return filled ? session_.node(children.front()).extents : AtspiExtents{};
}

/// What is on top in a window, and the widest of that: among its children, or among those of what fills it
/// with its shadow, as in Chromium.
AtspiExtents ElementPlaces::topOfWindow(std::uint32_t window) {
    constexpr int maxDepth = 4;
    const AtspiExtents whole = session_.node(window).extents;
    std::optional<std::uint32_t> next = window;
    AtspiExtents top;
    for (int depth = 0; next && depth < maxDepth; ++depth) {
        next = topChild(*next);
        if (next) top = session_.node(*next).extents;
        if (top != whole) break;
    }
    return top;
}

std::optional<std::uint32_t> ElementPlaces::topChild(std::uint32_t node) {
    constexpr std::size_t maxChildren = 16;
    if (!session_.load(node, AtspiPart::children)) return std::nullopt;
    std::vector<std::uint32_t> children = session_.node(node).children;
    children.resize(std::min(children.size(), maxChildren));
    session_.load(children, std::array{AtspiPart::extents});
    const auto isLaidOut = [this](std::uint32_t child) {
        const AtspiExtents& extents = session_.node(child).extents;
        return extents.width > 1 && extents.height > 1;
    };
    std::erase_if(children, std::not_fn(isLaidOut));
    const auto place = [this](std::uint32_t child) {
        const AtspiExtents& extents = session_.node(child).extents;
        return std::pair(extents.y, -std::int64_t{extents.width});
    };
    const auto top = std::ranges::min_element(children, {}, place);
    return top == children.end() ? std::nullopt : std::optional(*top);
}

std::optional<PixelRect> ElementPlaces::frame(std::uint32_t node) {
    if (!windows_) loadWindows();
    const auto placement = surfaceOf(node).placement;
    if (!placement) return std::nullopt;
    return placement->place(session_.node(node).extents);
}

/// A node lies where its parent does, unless it begins a surface of its own.
ElementPlaces::Surface ElementPlaces::surfaceOf(std::uint32_t node) {
    const auto above = [this](std::uint32_t each) {
        return session_.node(each).parent.value_or(AtspiSession::rootNode);
    };
    std::vector<std::uint32_t> unknown;
    for (std::uint32_t at = node; known_.emplace(at, Surface()).second; at = above(at)) unknown.push_back(at);
    for (; !unknown.empty(); unknown.pop_back()) {
        const std::uint32_t each = unknown.back();
        const Surface around = known_[above(each)];
        if (around.placement) known_[each] = surfaceBelow(each, around);
    }
    return known_[node];
}

ElementPlaces::Surface ElementPlaces::surfaceBelow(std::uint32_t node, const Surface& around) {
    // What another process contributes to a GTK 4 window may count from anywhere.
    if (convention_.fromWindow && session_.node(node).peer != 0) return {};
    const bool hasPages = convention_.pagesInPixels && around.placement->scale != 1;
    if (!hasPages && !convention_.fromWindow && !convention_.rootPanesFromWindow) return around;
    if (!session_.load(node, AtspiPart::role)) return around;
    const AtspiRole role = session_.node(node).role;
    if (hasPages && role == AtspiRole::documentWeb) return {inPage(node, *around.placement), {}};
    if (convention_.rootPanesFromWindow) return inRootPane(node, around, role == AtspiRole::rootPane);
    const bool menu = role == AtspiRole::menu || role == AtspiRole::popupMenu;
    if (convention_.fromWindow && (menu || windows_->hasPopovers()))
        return {inPopover(node, *around.placement, menu), {}};
    return around;
}

/// A page in pixels is larger than the view around it by the window's scale.
std::optional<Placement> ElementPlaces::inPage(std::uint32_t node, const Placement& around) {
    if (!loadWithParent(node)) return std::nullopt;
    const double width = session_.node(node).extents.width;
    const double view = session_.node(*session_.node(node).parent).extents.width;
    const bool pixels = std::abs(width - view * around.scale) < std::abs(width - view);
    return pixels ? Placement() : around;
}

std::optional<Placement> ElementPlaces::inPopover(std::uint32_t node, const Placement& around, bool menu) {
    if (!loadWithParent(node)) return menu ? std::nullopt : std::optional(around);
    const auto popovers = windows_->inPopover(session_.node(node).extents,
                                              session_.node(*session_.node(node).parent).extents, around);
    if (popovers.size() == 1) return popovers.front();
    // A menu has a window of its own, which is none of those that are known.
    return menu || popovers.size() > 1 ? std::nullopt : std::optional(around);
}

/// A root pane, and a part of the toolkit's own inside of one, fills its parent: that tells where it is.
ElementPlaces::Surface ElementPlaces::inRootPane(std::uint32_t node, const Surface& around, bool pane) {
    if ((!pane && !around.outside) || !loadWithParent(node)) return around;
    const AtspiExtents& own = session_.node(node).extents;
    const AtspiExtents& parent = session_.node(*session_.node(node).parent).extents;
    if (own.width != parent.width || own.height != parent.height) return around;
    const PixelRect filled = around.placement->place(parent);
    if (!pane) return around.outside->place(own) == filled ? Surface{around.outside, {}} : around;
    const Placement inside{around.placement->scale, static_cast<double>(own.x), static_cast<double>(own.y),
                           filled.x, filled.y};
    return {inside, around.placement};
}

/// Whether the extents of a node that is on the screen, and of its parent, are known.
bool ElementPlaces::loadWithParent(std::uint32_t node) {
    const auto parent = session_.node(node).parent;
    return parent && session_.load(node, AtspiPart::extents) && session_.load(*parent, AtspiPart::extents) &&
           isShown(session_.node(node).extents);
}

}  // namespace varkel
