#include "overlay/MainLoop.h"

#include <glib.h>

#include <utility>

namespace varkel::overlay {

void runOnMain(std::function<void()> function) {
    const auto call = [](gpointer data) -> gboolean {
        (*static_cast<std::function<void()>*>(data))();
        return G_SOURCE_REMOVE;
    };
    const auto destroy = [](gpointer data) { delete static_cast<std::function<void()>*>(data); };
    g_idle_add_full(G_PRIORITY_DEFAULT, call, new std::function<void()>(std::move(function)), destroy);
}

}  // namespace varkel::overlay
