#include "ax/AX+Shared.h"
#include "base/Digest.h"
#include "base/MainThread.h"
#include "platform/Platform.h"

namespace varkel {

namespace {

Accessibility& accessibility() {
    return *Platform::current().accessibility;
}

}  // namespace

const char* wireName(AXErrorCode code) {
    switch (code) {
        case AXErrorCode::permissionMissing:
            return "ax_permission_missing";
        case AXErrorCode::elementNotFound:
            return "element_not_found";
        case AXErrorCode::actionFailed:
            return "action_failed";
        case AXErrorCode::invalidInput:
            return "invalid_input";
    }
    return "";
}

boost::json::object axErrorResponse(AXErrorCode code, std::string_view hint) {
    boost::json::object body{{"error", wireName(code)}};
    if (!hint.empty()) body["hint"] = hint;
    return body;
}

std::optional<pid_t> frontmostApplicationPid() {
    Workspace& workspace = *Platform::current().workspace;
    if (workspace.threadRule() == ThreadRule::any) return workspace.frontmostApplication();
    std::optional<pid_t> pid;
    MainThread::sync([&] { pid = workspace.frontmostApplication(); });
    return pid;
}

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

std::string sha256Hash(std::string_view text) {
    constexpr std::size_t hashedBytes = 8;
    return hexDigest(text, hashedBytes);
}

ElementIdentity readIdentity(const AXUIElementRef& element) {
    const auto pid = accessibility().AXUIElementGetPid(element);
    ElementIdentity identity;
    identity.pid = pid ? pid.value : 0;
    identity.role = getAttribute<std::string>(element, AXAttribute::role).value_or("Unknown");
    identity.title = getAttribute<std::string>(element, AXAttribute::title);
    identity.identifier = getAttribute<std::string>(element, AXAttribute::identifier);
    return identity;
}

std::string elementId(const ElementIdentity& identity, std::string_view ordinalPath) {
    std::string parts = std::to_string(identity.pid);
    parts += '|';
    parts += identity.role;
    parts += '|';
    parts += identity.identifier.value_or("");
    parts += '|';
    parts += identity.title.value_or("");
    parts += '|';
    parts += ordinalPath;
    return sha256Hash(parts);
}

std::string childPath(std::string_view parentPath, std::size_t position) {
    std::string path;
    path.reserve(parentPath.size() + 5);
    path += parentPath;
    path += '/';
    path += std::to_string(position);
    return path;
}

}  // namespace varkel
