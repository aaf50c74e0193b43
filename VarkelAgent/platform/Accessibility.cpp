#include "platform/Accessibility.h"

namespace varkel {

const char* attributeName(AXAttribute attribute) {
    switch (attribute) {
        case AXAttribute::role:
            return "AXRole";
        case AXAttribute::title:
            return "AXTitle";
        case AXAttribute::value:
            return "AXValue";
        case AXAttribute::identifier:
            return "AXIdentifier";
        case AXAttribute::enabled:
            return "AXEnabled";
        case AXAttribute::focused:
            return "AXFocused";
        case AXAttribute::position:
            return "AXPosition";
        case AXAttribute::size:
            return "AXSize";
        case AXAttribute::children:
            return "AXChildren";
    }
    return "";
}

const char* actionName(AXAction action) {
    switch (action) {
        case AXAction::press:
            return "AXPress";
        case AXAction::scrollUp:
            return "AXScrollUp";
        case AXAction::scrollDown:
            return "AXScrollDown";
        case AXAction::scrollLeft:
            return "AXScrollLeft";
        case AXAction::scrollRight:
            return "AXScrollRight";
    }
    return "";
}

}  // namespace varkel
