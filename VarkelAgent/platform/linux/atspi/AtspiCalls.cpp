#include "platform/linux/atspi/AtspiCalls.h"

namespace varkel {

namespace {

constexpr const char* accessible = "org.a11y.atspi.Accessible";
constexpr const char* action = "org.a11y.atspi.Action";
constexpr const char* application = "org.a11y.atspi.Application";
constexpr const char* cache = "org.a11y.atspi.Cache";
constexpr const char* component = "org.a11y.atspi.Component";
constexpr const char* editableText = "org.a11y.atspi.EditableText";
constexpr const char* properties = "org.freedesktop.DBus.Properties";
constexpr const char* plainText = "org.a11y.atspi.Text";

struct Wire {
    const char* interface;
    const char* member;
    bool isProperty = false;
};

/// Tried on GTK 3.24, GTK 4.8, Qt 5.15, Qt 6.4, Chromium 156 and Gecko 153. "All" are these. A toolkit that
/// does not know a call answers with an error, which harms nothing.
///
/// org.freedesktop.DBus.Properties.GetAll must not be among them: Qt 5.15 and Qt 6.4 read an argument that is
/// not there, and the application crashes.
Wire wire(AtspiCall call) {
    switch (call) {
        // All.
        case AtspiCall::getName:
            return {accessible, "Name", true};
        // All.
        case AtspiCall::getChildCount:
            return {accessible, "ChildCount", true};
        // All; unknown to Qt 5.15 and Qt 6.4.
        case AtspiCall::getAccessibleId:
            return {accessible, "AccessibleId", true};
        // All, of the application's own object.
        case AtspiCall::getToolkitName:
            return {application, "ToolkitName", true};
        // All. GTK 3 has it only for objects with actions.
        case AtspiCall::getNActions:
            return {action, "NActions", true};
        // GTK 4 only, which takes no -1 for the end of a text.
        case AtspiCall::getCharacterCount:
            return {plainText, "CharacterCount", true};
        // All.
        case AtspiCall::getRole:
            return {accessible, "GetRole"};
        // All.
        case AtspiCall::getState:
            return {accessible, "GetState"};
        // All. Long lists are asked for one by one.
        case AtspiCall::getChildren:
            return {accessible, "GetChildren"};
        // GTK 3, Qt 5.15, Chromium.
        case AtspiCall::getChildAtIndex:
            return {accessible, "GetChildAtIndex"};
        // Chromium only, of its windows: makes it build its tree.
        case AtspiCall::getAttributes:
            return {accessible, "GetAttributes"};
        // All. GTK 4 answers relative to the window.
        case AtspiCall::getExtents:
            return {component, "GetExtents"};
        // All, of roles that bear text.
        case AtspiCall::getText:
            return {plainText, "GetText"};
        // All.
        case AtspiCall::getActionName:
            return {action, "GetName"};
        // All. Qt's list is empty; GTK 4's holds what has been asked for before, Chromium's the windows.
        case AtspiCall::getCacheItems:
            return {cache, "GetItems"};
        // GTK 3, Chromium and Gecko have a socket of their own; GTK 4 and Qt refuse.
        case AtspiCall::getApplicationBusAddress:
            return {application, "GetApplicationBusAddress"};
        // All.
        case AtspiCall::doAction:
            return {action, "DoAction"};
        // All.
        case AtspiCall::grabFocus:
            return {component, "GrabFocus"};
        // All are asked; who does not know it answers with an error.
        case AtspiCall::scrollTo:
            return {component, "ScrollTo"};
        // All but Gecko.
        case AtspiCall::setTextContents:
            return {editableText, "SetTextContents"};
    }
    return {};
}

}  // namespace

SdBusMessage newAtspiCall(BusConnection& connection, const char* destination, const char* path,
                          AtspiCall call) {
    const Wire own = wire(call);
    if (!own.isProperty) return connection.newCall({destination, path, own.interface, own.member});
    SdBusMessage message = connection.newCall({destination, path, properties, "Get"});
    if (message && sd_bus_message_append(message.get(), "ss", own.interface, own.member) < 0) return nullptr;
    return message;
}

}  // namespace varkel
