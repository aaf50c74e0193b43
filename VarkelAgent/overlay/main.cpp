#include <X11/Xlib.h>
#include <glib-unix.h>
#include <gtk/gtk.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <vector>

#include "base/Environment.h"
#include "main/ClientOptions.h"
#include "main/Token.h"
#include "overlay/Discovery.h"
#include "overlay/Service.h"

namespace varkel::overlay {

namespace {

/// To be removed when the X server ends, which ends the process at once. Null when there is none.
const Discovery* announced = nullptr;

std::string usage(const TokenSource& defaults) {
    return "Usage: varkel-overlay [options]\n"
           "Shows what varkel-agent is about to do and lets the person allow or deny it. Start it before the "
           "agent.\n"
           "Options:\n" +
           clientOptionsUsage("--port", defaults);
}

int onLostServer(Display*) {
    if (announced != nullptr) announced->remove();
    ::_exit(EXIT_FAILURE);
}

gboolean quit(gpointer) {
    gtk_main_quit();
    return G_SOURCE_CONTINUE;
}

/// Only X11 tells which device an event comes from, and only with its second input extension.
bool openDisplay() {
    gdk_set_allowed_backends("x11");
    for (const char* other : {"GDK_BACKEND", "GDK_CORE_DEVICE_EVENTS"}) g_unsetenv(other);
    if (gtk_init_check(nullptr, nullptr) == FALSE) return false;
    XSetIOErrorHandler(onLostServer);
    return true;
}

void warnOfWayland() {
    if (g_getenv("WAYLAND_DISPLAY") == nullptr) return;
    std::fputs(
        "varkel-overlay: in a Wayland session, pointers that programs make look like those of a person: an "
        "agent "
        "that has the compositor click may answer its own prompts.\n",
        stderr);
}

int serve(const ClientOptions& options) {
    const std::string home = homeDirectory(environment());
    if (Discovery::isServed(home)) {
        std::fputs("varkel-overlay: another overlay service runs already\n", stderr);
        return EXIT_FAILURE;
    }
    if (!openDisplay()) {
        std::fputs("varkel-overlay: there is no X display to be had\n", stderr);
        return EXIT_FAILURE;
    }
    warnOfWayland();
    const std::string secret = freshSecret();
    Service service(secret, options.agentPort, [options] { return resolveToken(options); });
    const Discovery discovery(home, service.port(), secret);
    announced = &discovery;
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) g_unix_signal_add(number, quit, nullptr);
    std::printf("Asks for the agent that starts from now on; listens on 127.0.0.1:%u\n",
                unsigned{service.port()});
    std::fflush(stdout);
    gtk_main();
    announced = nullptr;
    return EXIT_SUCCESS;
}

int run(const std::vector<std::string>& arguments) {
    const TokenSource defaults = defaultTokenSource(environment());
    const auto options = parseClientOptions(arguments, defaults);
    if (!options) {
        std::fputs(usage(defaults).c_str(), stderr);
        return EXIT_FAILURE;
    }
    if (options->help) {
        std::fputs(usage(defaults).c_str(), stdout);
        return EXIT_SUCCESS;
    }
    return serve(*options);
}

}  // namespace

}  // namespace varkel::overlay

int main(int argc, char** argv) {
    // An agent that has gone away is an error of that write.
    std::signal(SIGPIPE, SIG_IGN);
    try {
        varkel::environment();
        ::unsetenv(varkel::tokenVariable);
        return varkel::overlay::run(std::vector<std::string>(argv + std::min(argc, 1), argv + argc));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "varkel-overlay: %s\n", error.what());
        return EXIT_FAILURE;
    }
}
