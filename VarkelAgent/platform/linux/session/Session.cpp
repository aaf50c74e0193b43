#include "platform/linux/session/Session.h"

#include "platform/linux/input/X11EventPoster.h"
#include "platform/linux/x11/X11WindowSystem.h"

namespace varkel {

Session openSession() {
    return {std::make_unique<X11WindowSystem>(), std::make_unique<X11EventPoster>()};
}

}  // namespace varkel
