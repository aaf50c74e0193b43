#pragma once

#include <sys/types.h>

#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace varkel {

/// What a platform's accessibility operation answers besides its value.
enum class AXError {
    success,
    /// The element has no such attribute or action: asking again gives the same answer.
    unsupported,
    /// The attribute exists but holds nothing now.
    noValue,
    /// The application refused, has quit, or did not answer in time.
    cannotComplete,
};

/// The attributes that the agent reads or sets. attributeName() gives their wire names.
enum class AXAttribute { role, title, value, identifier, enabled, focused, position, size, children };

/// The actions that the agent performs. actionName() gives their wire names.
enum class AXAction { press, scrollUp, scrollDown, scrollLeft, scrollRight };

/// The name of an attribute as accessibility interfaces spell it, such as "AXRole".
const char* attributeName(AXAttribute attribute);

/// The name of an action as accessibility interfaces spell it, such as "AXPress".
const char* actionName(AXAction action);

/// A point in screen coordinates, in pixels from the top left corner of the desktop.
struct CGPoint {
    double x = 0;
    double y = 0;
    friend bool operator==(const CGPoint&, const CGPoint&) = default;
};

/// A size in pixels.
struct CGSize {
    double width = 0;
    double height = 0;
    friend bool operator==(const CGSize&, const CGSize&) = default;
};

/// The value of one attribute: a text, a truth value, a number or a packed geometry value.
using AXValue = std::variant<std::string, bool, double, CGPoint, CGSize>;

/// A value, or the reason why there is none. `value` is meaningful only on success.
template <class T>
struct AXResult {
    AXError error = AXError::success;
    T value{};

    explicit operator bool() const { return error == AXError::success; }
    static AXResult failed(AXError error) { return {error, T{}}; }
    static AXResult of(T value) { return {AXError::success, std::move(value)}; }
};

/// One element of another application's accessibility hierarchy. Only the backend that made it looks inside.
class AXUIElement {
  public:
    AXUIElement() = default;
    AXUIElement(const AXUIElement&) = delete;
    AXUIElement& operator=(const AXUIElement&) = delete;
    virtual ~AXUIElement() = default;
};

/// A handle to an element: a cheap value, made for one request and dropped with it. Never null.
using AXUIElementRef = std::shared_ptr<AXUIElement>;

/// How much of a hierarchy prefetch() is about.
struct PrefetchScope {
    /// Children read of any one element.
    std::size_t maxChildren;
    /// Levels below the element.
    std::size_t maxDepth;
    /// Elements in all.
    std::size_t maxElements;
};

/// Reads and drives the accessibility hierarchies of other applications.
///
/// Every operation may be called from any thread, also for several elements at once, but the elements that
/// stem from one AXUIElementCreateApplication() call belong to one thread at a time. Operations that reach
/// another process block the caller, never longer than the backend's deadline.
class Accessibility {
  public:
    virtual ~Accessibility() = default;

    /// Whether this process may use the accessibility interface now.
    virtual bool AXIsProcessTrusted() = 0;

    /// Whether AXIsProcessTrusted() would answer true without waiting for another process. A backend that
    /// cannot tell says false; callers then ask AXIsProcessTrusted() where blocking is allowed.
    virtual bool isKnownTrusted() { return false; }

    /// The element that stands for the application with this process id. Creation does not fail; reads on the
    /// element fail when there is no such application.
    virtual AXUIElementRef AXUIElementCreateApplication(pid_t pid) = 0;

    /// Reads one attribute. AXAttribute::children is not a value; see AXUIElementCopyAttributeValues().
    virtual AXResult<AXValue> AXUIElementCopyAttributeValue(const AXUIElementRef& element,
                                                            AXAttribute attribute) = 0;

    /// Reads `maxCount` entries of an array attribute from index `first`, in the application's order.
    virtual AXResult<std::vector<AXUIElementRef>> AXUIElementCopyAttributeValues(
        const AXUIElementRef& element, AXAttribute attribute, std::size_t first, std::size_t maxCount) = 0;

    /// The process that owns the element.
    virtual AXResult<pid_t> AXUIElementGetPid(const AXUIElementRef& element) = 0;

    /// Performs an action. Success also when the application took the action and does not answer for it in
    /// time: one that opens a dialog first has acted, and must not be made to act twice.
    virtual AXError AXUIElementPerformAction(const AXUIElementRef& element, AXAction action) = 0;

    /// Sets an attribute: AXAttribute::value to a text, or AXAttribute::focused to true. A late answer is a
    /// success, as with actions.
    virtual AXError AXUIElementSetAttributeValue(const AXUIElementRef& element, AXAttribute attribute,
                                                 const AXValue& value) = 0;

    /// Whether two handles stand for the same element.
    virtual bool CFEqual(const AXUIElementRef& a, const AXUIElementRef& b) = 0;

    /// A hint: the listed attributes of `element` and of everything below it are about to be read, within
    /// `scope`. A backend may load them in bulk; nothing but speed depends on it.
    virtual void prefetch(const AXUIElementRef& element, std::span<const AXAttribute> attributes,
                          const PrefetchScope& scope) {
        (void)element;
        (void)attributes;
        (void)scope;
    }

    /// Called once when the agent starts to serve, from a thread that may block: lets the desktop know that
    /// an assistive program is here, so that applications started later show their hierarchies.
    virtual void announce() {}
};

}  // namespace varkel
