#include "ax/ElementId.h"

#include "ax/Attributes.h"
#include "base/Digest.h"
#include "platform/Platform.h"

namespace varkel {

std::string sha256Hash(std::string_view text) {
    constexpr std::size_t hashedBytes = 8;
    return hexDigest(text, hashedBytes);
}

ElementIdentity readIdentity(const AXUIElementRef& element) {
    const auto pid = Platform::current().accessibility->AXUIElementGetPid(element);
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
