#include "platform/linux/atspi/LinuxAccessibility.h"

#include <string>
#include <utility>

#include "platform/linux/atspi/AtspiActs.h"
#include "platform/linux/atspi/AtspiPrefetch.h"

namespace varkel {

namespace {

/// What the elements that stem from one application element share.
struct Reading {
    Reading(AtspiBus& bus, const ElementPlaces::ScreenWindows& screenWindows, pid_t pid)
        : session(bus, pid), prefetch(session), places(session, screenWindows) {}

    AtspiSession session;
    AtspiPrefetch prefetch;
    ElementPlaces places;
};

class AtspiElement : public AXUIElement {
  public:
    AtspiElement(std::shared_ptr<Reading> reading, std::uint32_t ownNode)
        : session(&reading->session), node(ownNode), reading_(std::move(reading)) {}

    AtspiElement(const AtspiElement& relative, std::uint32_t ownNode)
        : AtspiElement(relative.reading_, ownNode) {}

    AtspiPrefetch& prefetch() const { return reading_->prefetch; }
    ElementPlaces& places() const { return reading_->places; }
    AtspiActs acts() const { return AtspiActs(*session); }

    AtspiSession* const session;
    const std::uint32_t node;

  private:
    const std::shared_ptr<Reading> reading_;
};

const AtspiElement& unwrap(const AXUIElementRef& element) {
    // Every handle that reaches this backend was made by it.
    return static_cast<const AtspiElement&>(*element);
}

using Value = AXResult<AXValue>;

Value missing(const AtspiElement& element, AtspiPart part) {
    return Value::failed(element.session->reason(element.node, part));
}

Value readRole(const AtspiElement& element) {
    AtspiSession& session = *element.session;
    if (!session.load(element.node, AtspiPart::role)) return missing(element, AtspiPart::role);
    const AtspiNode& node = session.node(element.node);
    if (roleDependsOnStates(node.role)) session.load(element.node, AtspiPart::states);
    return Value::of(std::string(axRole(node.role, node.states)));
}

Value readName(const AtspiElement& element, AtspiPart part) {
    AtspiSession& session = *element.session;
    if (!session.load(element.node, part)) return missing(element, part);
    const AtspiNode& node = session.node(element.node);
    const std::string& text = part == AtspiPart::name ? node.name : node.accessibleId;
    return text.empty() ? Value::failed(AXError::noValue) : Value::of(text);
}

Value readValue(const AtspiElement& element) {
    AtspiSession& session = *element.session;
    if (!session.load(element.node, AtspiPart::role)) return missing(element, AtspiPart::role);
    const AtspiNode& node = session.node(element.node);
    if (!isTextBearing(node.role)) return Value::failed(AXError::unsupported);
    if (node.interfaces.known && !node.interfaces.text) return Value::failed(AXError::unsupported);
    if (!session.load(element.node, AtspiPart::text)) return missing(element, AtspiPart::text);
    return Value::of(node.text);
}

Value readState(const AtspiElement& element, AXAttribute attribute) {
    AtspiSession& session = *element.session;
    if (!session.load(element.node, AtspiPart::states)) return missing(element, AtspiPart::states);
    const AtspiStates states = session.node(element.node).states;
    if (attribute == AXAttribute::focused) return Value::of(states.has(AtspiState::focused));
    // Toolkits disagree on which of the two says that an element reacts; those that set both clear both.
    return Value::of(states.has(AtspiState::enabled) || states.has(AtspiState::sensitive));
}

/// Toolkits report INT_MIN and the like, or nothing but zeros, for what is not on the screen, and GTK 3 a
/// single pixel somewhere for what it has not laid out yet, as on a page that is just being shown.
bool isSane(const AtspiExtents& extents) {
    constexpr std::int32_t farthest = 1'000'000;
    const auto near = [](std::int32_t coordinate) { return coordinate > -farthest && coordinate < farthest; };
    if (extents.width <= 1 && extents.height <= 1) return false;
    return near(extents.x) && near(extents.y) && extents.width >= 0 && extents.height >= 0 &&
           near(extents.width) && near(extents.height);
}

Value readGeometry(const AtspiElement& element, AXAttribute attribute) {
    AtspiSession& session = *element.session;
    const AtspiInterfaces& interfaces = session.node(element.node).interfaces;
    if (interfaces.known && !interfaces.component) return Value::failed(AXError::unsupported);
    session.loadVisibility(element.node);
    if (session.isHidden(element.node)) return Value::failed(AXError::noValue);
    if (!session.load(element.node, AtspiPart::extents)) return missing(element, AtspiPart::extents);
    const AtspiExtents& extents = session.node(element.node).extents;
    if (!isSane(extents)) return Value::failed(AXError::noValue);
    const auto frame = element.places().frame(element.node);
    if (!frame) return Value::failed(AXError::noValue);
    if (attribute == AXAttribute::position) return Value::of(CGPoint{frame->x, frame->y});
    return Value::of(CGSize{frame->width, frame->height});
}

AXError toError(AtspiAct act) {
    switch (act) {
        case AtspiAct::done:
        case AtspiAct::unanswered:
            return AXError::success;
        case AtspiAct::unsupported:
            return AXError::unsupported;
        case AtspiAct::refused:
            break;
    }
    return AXError::cannotComplete;
}

}  // namespace

AXUIElementRef LinuxAccessibility::AXUIElementCreateApplication(pid_t pid) {
    return std::make_shared<AtspiElement>(std::make_shared<Reading>(bus_, screenWindows_, pid),
                                          AtspiSession::rootNode);
}

AXResult<AXValue> LinuxAccessibility::AXUIElementCopyAttributeValue(const AXUIElementRef& element,
                                                                    AXAttribute attribute) {
    const AtspiElement& own = unwrap(element);
    switch (attribute) {
        case AXAttribute::role:
            return readRole(own);
        case AXAttribute::title:
            return readName(own, AtspiPart::name);
        case AXAttribute::identifier:
            return readName(own, AtspiPart::accessibleId);
        case AXAttribute::value:
            return readValue(own);
        case AXAttribute::enabled:
        case AXAttribute::focused:
            return readState(own, attribute);
        case AXAttribute::position:
        case AXAttribute::size:
            return readGeometry(own, attribute);
        case AXAttribute::children:
            break;
    }
    return Value::failed(AXError::unsupported);
}

AXResult<std::vector<AXUIElementRef>> LinuxAccessibility::AXUIElementCopyAttributeValues(
    const AXUIElementRef& element, AXAttribute attribute, std::size_t first, std::size_t maxCount) {
    using Elements = AXResult<std::vector<AXUIElementRef>>;
    if (attribute != AXAttribute::children) return Elements::failed(AXError::unsupported);
    const AtspiElement& own = unwrap(element);
    if (!own.session->load(own.node, AtspiPart::children)) {
        return Elements::failed(own.session->reason(own.node, AtspiPart::children));
    }
    const auto& children = own.session->node(own.node).children;
    std::vector<AXUIElementRef> elements;
    for (std::size_t i = first; i < children.size() && elements.size() < maxCount; ++i) {
        elements.push_back(std::make_shared<AtspiElement>(own, children[i]));
    }
    return Elements::of(std::move(elements));
}

AXResult<pid_t> LinuxAccessibility::AXUIElementGetPid(const AXUIElementRef& element) {
    const AtspiElement& own = unwrap(element);
    const auto pid = own.session->pidOf(own.node);
    return pid ? AXResult<pid_t>::of(*pid) : AXResult<pid_t>::failed(AXError::cannotComplete);
}

AXError LinuxAccessibility::AXUIElementPerformAction(const AXUIElementRef& element, AXAction action) {
    const AtspiElement& own = unwrap(element);
    if (action == AXAction::press) return toError(own.acts().press(own.node));
    return scroll(element, action);
}

/// One step of the wheel over the element's centre.
AXError LinuxAccessibility::scroll(const AXUIElementRef& element, AXAction direction) {
    const AtspiElement& own = unwrap(element);
    own.acts().scrollIntoView(own.node);
    const Value position = readGeometry(own, AXAttribute::position);
    const Value size = readGeometry(own, AXAttribute::size);
    if (!position || !size) return AXError::cannotComplete;
    const auto& origin = std::get<CGPoint>(position.value);
    const auto& area = std::get<CGSize>(size.value);
    const CGPoint centre{origin.x + area.width * 0.5, origin.y + area.height * 0.5};
    const auto stepsTo = [direction](AXAction forward, AXAction back) {
        return direction == forward ? 1 : direction == back ? -1 : 0;
    };
    const auto event =
        events_.CGEventCreateScrollWheelEvent(centre, stepsTo(AXAction::scrollUp, AXAction::scrollDown),
                                              stepsTo(AXAction::scrollLeft, AXAction::scrollRight));
    if (!event) return AXError::cannotComplete;
    events_.CGEventPost(*event);
    return AXError::success;
}

AXError LinuxAccessibility::AXUIElementSetAttributeValue(const AXUIElementRef& element, AXAttribute attribute,
                                                         const AXValue& value) {
    const AtspiElement& own = unwrap(element);
    if (attribute == AXAttribute::focused) return toError(own.acts().grabFocus(own.node));
    const auto* text = std::get_if<std::string>(&value);
    if (attribute != AXAttribute::value || text == nullptr) return AXError::unsupported;
    return toError(own.acts().setText(own.node, *text));
}

bool LinuxAccessibility::CFEqual(const AXUIElementRef& a, const AXUIElementRef& b) {
    return unwrap(a).session == unwrap(b).session && unwrap(a).node == unwrap(b).node;
}

void LinuxAccessibility::prefetch(const AXUIElementRef& element, std::span<const AXAttribute> attributes,
                                  const PrefetchScope& scope) {
    const AtspiElement& own = unwrap(element);
    own.prefetch().load(own.node, attributes, scope);
}

void LinuxAccessibility::announce() {
    bus_.announceOnConnect();
    bus_.isReachable();
}

}  // namespace varkel
