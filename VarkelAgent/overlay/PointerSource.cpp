#include "overlay/PointerSource.h"

#include <X11/Xatom.h>
#include <X11/extensions/XInput2.h>
#include <gdk/gdkx.h>

#include <cmath>

namespace varkel::overlay {

namespace {

/// The property with which the X server marks the devices of XTEST, one pointer and one keyboard for each
/// that there is on the screen, whatever they are called.
constexpr const char* markOfSynthetic = "XTEST Device";

/// Whether a device has no such mark. False as well when it has gone.
bool isUnmarked(GdkDisplay* display, int device) {
    Display* x = gdk_x11_display_get_xdisplay(display);
    const Atom name = gdk_x11_get_xatom_by_name_for_display(display, markOfSynthetic);
    Atom type = None;
    int format = 0;
    unsigned long count = 0;
    unsigned long rest = 0;
    unsigned char* data = nullptr;
    gdk_x11_display_error_trap_push(display);
    const int status =
        XIGetProperty(x, device, name, 0, 1, False, XA_INTEGER, &type, &format, &count, &rest, &data);
    const bool hasFailed = gdk_x11_display_error_trap_pop(display) != 0 || status != Success;
    const bool isZero = data != nullptr && type == XA_INTEGER && count > 0 && data[0] == 0;
    if (data != nullptr) XFree(data);
    return !hasFailed && (type == None || isZero);
}

}  // namespace

bool isFromPerson(const GdkEvent* event) {
    GdkDevice* source = gdk_event_get_source_device(event);
    if (event->any.send_event != 0 || source == nullptr) return false;
    // A master stands for several devices.
    if (gdk_device_get_device_type(source) == GDK_DEVICE_TYPE_MASTER) return false;
    return isUnmarked(gdk_device_get_display(source), gdk_x11_device_get_id(source));
}

bool PersonPointer::follow(const GdkEvent* event) {
    const bool isMotion = event->type == GDK_MOTION_NOTIFY;
    const bool byPerson = isFromPerson(event);
    double x = 0;
    double y = 0;
    gdk_event_get_root_coords(event, &x, &y);
    const bool isThere =
        byPerson && place_ && std::abs(place_->first - x) < 1 && std::abs(place_->second - y) < 1;
    if (isMotion && !byPerson) place_.reset();
    if (isMotion && byPerson) place_.emplace(x, y);
    return isThere;
}

}  // namespace varkel::overlay
