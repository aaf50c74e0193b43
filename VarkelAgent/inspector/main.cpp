#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <functional>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "base/AtomicFile.h"
#include "base/Environment.h"
#include "inspector/InspectorServer.h"
#include "inspector/Options.h"
#include "inspector/Relay.h"
#include "main/CommandLine.h"
#include "main/Console.h"
#include "main/Token.h"
#include "platform/ChildProcess.h"
#include "platform/Memory.h"
#include "platform/Screen.h"

namespace varkel::inspector {

namespace {

constexpr const char* browserStarter = "/usr/bin/xdg-open";

/// A page that leads a browser to the address. Other users see the command lines of this one's programs, so
/// the browser is told the path of a file that only this user can read.
class EntryFile {
  public:
    EntryFile(const std::string& folder, const std::string& address)
        : path_(folder + "/varkel-inspector-" + randomHex(8) + ".html") {
        writeFileAtomically(path_,
                            "<!doctype html><title>varkel-inspector</title><meta http-equiv=\"refresh\" "
                            "content=\"0;url=" +
                                address + "\">\n",
                            0600);
    }
    EntryFile(const EntryFile&) = delete;
    EntryFile& operator=(const EntryFile&) = delete;
    ~EntryFile() { remove(); }

    const std::string& path() const { return path_; }
    /// Any thread.
    void remove() const { ::unlink(path_.c_str()); }

  private:
    const std::string path_;
};

std::string valueOf(const char* variable) {
    const auto found = environment().find(variable);
    return found == environment().end() ? std::string() : found->second;
}

bool hasBrowser() {
    const bool hasScreen = !valueOf("DISPLAY").empty() || !valueOf("WAYLAND_DISPLAY").empty();
    return hasScreen && ::access(browserStarter, X_OK) == 0;
}

std::string privateFolder() {
    std::string runtime = valueOf("XDG_RUNTIME_DIR");
    if (!runtime.empty()) return runtime;
    std::string temporary = valueOf("TMPDIR");
    return temporary.empty() ? "/tmp" : temporary;
}

/// Not opening one is no failure: the address has been printed.
void openBrowser(const std::string& path) {
    try {
        ChildCommand command;
        command.executable = browserStarter;
        command.arguments = {"file://" + path};
        command.output = ChildCommand::Output::discard;
        ChildProcess(std::move(command)).detach();
    } catch (const LaunchError& error) {
        print(std::string("No browser could be opened: ") + error.what() + "\n");
    }
}

void waitForSignal(const sigset_t& ending) {
    int number = 0;
    ::sigwait(&ending, &number);
}

/// Serves until a signal ends the process. Gives the exit status when it cannot.
int serve(const Options& options, const sigset_t& ending) {
    const auto screen = makeSystemScreen();
    Relay relay(options.agentPort, [options] { return resolveToken(options); });
    std::optional<EntryFile> entry;
    InspectorServer server(relay, *screen);
    server.whenEntered([&] {
        if (entry) entry->remove();
        print("The address has been used. For another browser: " + server.address() + "\n");
    });
    const bool opensBrowser = options.opensBrowser && hasBrowser();
    if (const std::error_code error = server.listen(options.port)) {
        std::fprintf(stderr, "varkel-inspector: cannot serve on this port: %s\n", error.message().c_str());
        return EXIT_FAILURE;
    }
    // Before anything knows the key: the server's threads look at it once a browser has been let in.
    if (opensBrowser) entry.emplace(privateFolder(), server.address());
    print("The inspector, for one browser: " + server.address() + "\nCtrl-C ends it.\n");
    if (entry) openBrowser(entry->path());
    waitForSignal(ending);
    // At once: the server would wait for what is under way, and the person may be asked about that for
    // minutes.
    if (entry) entry->remove();
    std::_Exit(EXIT_SUCCESS);
}

int run(const std::vector<std::string>& arguments, const sigset_t& ending) {
    const TokenSource defaults = defaultTokenSource(environment());
    const auto options = parseOptions(arguments, defaults);
    if (!options) {
        std::fputs(usage(defaults).c_str(), stderr);
        return EXIT_FAILURE;
    }
    if (options->help) {
        print(usage(defaults));
        return EXIT_SUCCESS;
    }
    return serve(*options, ending);
}

}  // namespace

}  // namespace varkel::inspector

int main(int argc, char** argv) {
    // A browser that has gone away is an error of the next write.
    std::signal(SIGPIPE, SIG_IGN);
    // Before other threads exist: they leave these to the main thread, which waits for them.
    sigset_t ending;
    sigemptyset(&ending);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&ending, number);
    pthread_sigmask(SIG_BLOCK, &ending, nullptr);
    try {
        varkel::environment();
        // The browser inherits the environment; the token is not for it.
        ::unsetenv(varkel::tokenVariable);
        varkel::keepMemorySmall();
        return varkel::inspector::run(std::vector<std::string>(argv + std::min(argc, 1), argv + argc),
                                      ending);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "varkel-inspector: %s\n", error.what());
        return EXIT_FAILURE;
    }
}
