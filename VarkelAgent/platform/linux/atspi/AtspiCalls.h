#pragma once

#include <cstdint>

#include "platform/linux/atspi/SdBus.h"

namespace varkel {

/// Every call that is made to an application. A call that is not in this list is not made: some that the
/// interface descriptions allow make applications crash.
enum class AtspiCall : std::uint8_t {
    // Reads of one property. They take no arguments.
    getName,
    getChildCount,
    getAccessibleId,
    getToolkitName,
    getNActions,
    getCharacterCount,

    // Methods that read.
    getRole,
    getState,
    getChildren,
    getChildAtIndex,
    getAttributes,
    getExtents,
    getText,
    getActionName,
    getCacheItems,
    getApplicationBusAddress,

    // Methods that act.
    doAction,
    grabFocus,
    scrollTo,
    setTextContents,
};

/// A call to an object of an application, ready for its arguments; see BusConnection::newCall().
/// `destination` is null on a private connection.
SdBusMessage newAtspiCall(BusConnection& connection, const char* destination, const char* path,
                          AtspiCall call);

}  // namespace varkel
