#include "platform/linux/wayland/Screencopy.h"

#include <screencopy-v1-client.h>

#include "platform/linux/wayland/WaylandConnection.h"

namespace varkel {

bool isScreencopyOffered(std::chrono::steady_clock::time_point deadline) {
    WaylandConnection connection;
    return connection.connect(deadline) && connection.offers(zwlr_screencopy_manager_v1_interface.name);
}

}  // namespace varkel
