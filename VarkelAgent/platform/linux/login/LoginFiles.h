#pragma once

#include <string>
#include <string_view>

#include "platform/linux/login/LoginItem.h"

namespace varkel {

/// The first line of every file written here. A file without it was written by another program.
inline constexpr std::string_view loginFileMarker =
    "# Written by launchctl; \"launchctl unload\" removes it.";

/// When a service manager starts what it is told to start at login.
enum class LoginMoment {
    /// With the desktop, for desktops that tell the manager when they are there.
    graphicalSession,
    /// With the manager itself, which may be earlier than the desktop.
    firstLogin,
};

/// Absolute paths that the files name. Fit for units (isTextForUnits), without control characters.
struct LoginPlaces {
    /// The property list.
    std::string propertyList;
    /// This tool.
    std::string launchctl;
    /// The user's folder for configuration.
    std::string configuration;
    LoginMoment moment = LoginMoment::graphicalSession;
};

struct LoginFile {
    std::string path;
    std::string text;
};

/// The files by which a login item starts; either the unit and its environment, or the autostart entry.
struct LoginFiles {
    std::string label;
    /// The name of the systemd user unit.
    std::string unitName;
    LoginFile unit;
    /// Read by the unit. It holds secrets.
    LoginFile environment;
    /// Starts the item through this tool, so that the environment stands on no command line.
    LoginFile autostart;
};

/// What to write for a property list. Throws LoginItemError when it, or a place, cannot be written down.
/// Pure: any bytes may come, any thread.
LoginFiles translateLoginItem(std::string_view propertyList, const LoginPlaces& places);

}  // namespace varkel
