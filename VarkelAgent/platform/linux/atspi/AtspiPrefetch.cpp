#include "platform/linux/atspi/AtspiPrefetch.h"

#include <algorithm>
#include <chrono>
#include <thread>

#include "platform/linux/atspi/AtspiCacheItems.h"

namespace varkel {

namespace {

/// How long an application may take to build its tree after it was asked to.
constexpr Deadline::Duration wakeLimit{5000};
/// When one that has not is asked again: a busy one may only have been slow.
constexpr Deadline::Duration wakeAgain{60'000};
/// How long a document may stay empty meanwhile; some are.
constexpr Deadline::Duration emptyDocumentLimit{2000};
/// Between two looks at a tree that grows.
constexpr std::chrono::milliseconds wakePause{100};

bool lists(std::span<const AXAttribute> attributes, AXAttribute wanted) {
    return std::ranges::find(attributes, wanted) != attributes.end();
}

}  // namespace

void AtspiPrefetch::load(std::uint32_t index, std::span<const AXAttribute> attributes,
                         const PrefetchScope& scope) {
    if (!session_.connect()) return;
    session_.connections().openMore();
    scope_ = scope;
    values_ = lists(attributes, AXAttribute::value);
    states_ = lists(attributes, AXAttribute::enabled) || lists(attributes, AXAttribute::focused);
    extents_ = lists(attributes, AXAttribute::position) || lists(attributes, AXAttribute::size);
    run(index);
    const bool isApplication = index == AtspiSession::rootNode;
    if (isApplication && isDormant() && session_.connections().toolkit().dormantUntil.passed()) wake();
}

/// Reads a subtree, and gives the number of elements.
std::size_t AtspiPrefetch::run(std::uint32_t index) {
    // An application hands over most of itself in one reply; worth it only when most of it is wanted.
    if (index == AtspiSession::rootNode) loadCacheItems(session_);
    ++number_;
    visited_ = 0;
    session_.edit(index).depth = 0;
    session_.connections().spreadCalls(true);
    session_.listen([this](std::uint32_t node, AtspiPart part) { goOn(node, part); });
    visit(index);
    session_.connections().serve();
    session_.listen(nullptr);
    session_.connections().spreadCalls(false);
    return visited_;
}

/// Whether the application has windows, but shows nothing of what is in them. Chromium builds its tree only
/// for who asks as a screen reader does; until then its windows list children that do not exist.
bool AtspiPrefetch::isDormant() const {
    if (session_.toolkitName() != "Chromium") return false;
    const auto isThere = [this](std::uint32_t index) {
        return session_.node(index).isKnown(AtspiPart::role);
    };
    const auto& windows = session_.node(AtspiSession::rootNode).children;
    return !windows.empty() && std::ranges::none_of(windows, [&](std::uint32_t window) {
        return std::ranges::any_of(session_.node(window).children, isThere);
    });
}

/// Whether a document has nothing in it, which may still be on its way from another process.
bool AtspiPrefetch::hasEmptyDocument() const {
    return std::ranges::any_of(session_.nodes(), [](const AtspiNode& node) {
        const bool isDocument = node.role == AtspiRole::documentWeb || node.role == AtspiRole::documentFrame;
        return isDocument && node.isKnown(AtspiPart::childCount) && node.childCount == 0;
    });
}

/// Has the application build its tree, and reads it until it has stopped growing.
void AtspiPrefetch::wake() {
    const Deadline limit = earlier(session_.connections().deadline(), Deadline::in(wakeLimit));
    const Deadline documentLimit = Deadline::in(emptyDocumentLimit);
    for (std::size_t before = 0; !limit.passed();) {
        if (isDormant()) askWindowsForAttributes();
        session_.forgetAll();
        const std::size_t now = run(AtspiSession::rootNode);
        const bool isComplete = !isDormant() && (documentLimit.passed() || !hasEmptyDocument());
        if (isComplete && now == before) return;
        before = now;
        std::this_thread::sleep_for(wakePause);
    }
    if (isDormant()) session_.connections().learnThatItStaysDormant(Deadline::in(wakeAgain));
}

/// It is the question that counts.
void AtspiPrefetch::askWindowsForAttributes() {
    for (const std::uint32_t window : session_.node(AtspiSession::rootNode).children) {
        session_.send(window, session_.newCall(window, AtspiCall::getAttributes),
                      [](CallOutcome, sd_bus_message*) {});
    }
    session_.connections().serve();
}

void AtspiPrefetch::visit(std::uint32_t index) {
    AtspiNode& node = session_.edit(index);
    if (node.prefetch == number_ || visited_ >= scope_.maxElements) return;
    node.prefetch = number_;
    ++visited_;
    // What leads further down goes first, so that the queue never runs dry while there is more to find.
    const bool countKnown = node.isKnown(AtspiPart::childCount);
    session_.ask(index, AtspiPart::childCount);
    if (countKnown) goOn(index, AtspiPart::childCount);
    const bool roleKnown = node.isKnown(AtspiPart::role);
    session_.ask(index, AtspiPart::role);
    if (states_) session_.ask(index, AtspiPart::states);
    session_.ask(index, AtspiPart::name);
    session_.ask(index, AtspiPart::accessibleId);
    if (roleKnown) goOn(index, AtspiPart::role);
}

/// Asks for the place, as soon as role and states tell whether the element has one.
void AtspiPrefetch::askExtentsOnceItMayHaveThem(std::uint32_t index) {
    const AtspiNode& node = session_.node(index);
    if (!extents_ || node.isPending(AtspiPart::role)) return;
    if (states_ && node.isPending(AtspiPart::states)) return;
    if (node.interfaces.known && !node.interfaces.component) return;
    if (!session_.isHidden(index)) session_.ask(index, AtspiPart::extents);
}

/// Goes on from a part that has just become known, or is known to be missing.
void AtspiPrefetch::goOn(std::uint32_t index, AtspiPart part) {
    AtspiNode& node = session_.edit(index);
    if (part == AtspiPart::childCount && node.depth < scope_.maxDepth) {
        // A load before may have brought the children, but not what is below them.
        if (node.isKnown(AtspiPart::children)) goOn(index, AtspiPart::children);
        session_.ask(index, AtspiPart::children);
    }
    if (part == AtspiPart::role && node.isKnown(part)) {
        if (roleDependsOnStates(node.role)) session_.ask(index, AtspiPart::states);
        if (values_) askValue(index);
    }
    if (part == AtspiPart::role || part == AtspiPart::states) askExtentsOnceItMayHaveThem(index);
    if (part != AtspiPart::children || !node.isKnown(part)) return;
    const std::size_t count = std::min(node.children.size(), scope_.maxChildren);
    for (std::size_t i = 0; i < count; ++i) {
        AtspiNode& child = session_.edit(node.children[i]);
        if (child.prefetch != number_) child.depth = node.depth + 1;
        visit(node.children[i]);
    }
}

void AtspiPrefetch::askValue(std::uint32_t index) {
    const AtspiNode& node = session_.node(index);
    if (!isTextBearing(node.role)) return;
    if (!node.interfaces.known || node.interfaces.text) session_.ask(index, AtspiPart::text);
}

}  // namespace varkel
