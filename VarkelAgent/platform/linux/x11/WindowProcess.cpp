#include "platform/linux/x11/WindowProcess.h"

#include <signal.h>
#include <unistd.h>
#include <xcb/res.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <string>

namespace varkel {

namespace {

struct ClientProcesses {
    std::optional<pid_t> ofWindow;
    std::optional<pid_t> ofUs;
};

/// The processes at the other ends of the connections of a window's owner and of this process, as the X
/// server numbers them.
ClientProcesses askServer(xcb_connection_t* connection, xcb_window_t window) {
    const xcb_setup_t* setup = xcb_get_setup(connection);
    const std::uint32_t ourBase = setup->resource_id_base;
    constexpr std::uint32_t wantedId = XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID;
    const std::array<xcb_res_client_id_spec_t, 2> wanted{{{window, wantedId}, {ourBase, wantedId}}};
    const XcbPtr<xcb_res_query_client_ids_reply_t> reply(xcb_res_query_client_ids_reply(
        connection, xcb_res_query_client_ids(connection, wanted.size(), wanted.data()), nullptr));
    ClientProcesses processes;
    if (!reply) return processes;
    auto ids = xcb_res_query_client_ids_ids_iterator(reply.get());
    for (; ids.rem > 0; xcb_res_client_id_value_next(&ids)) {
        const xcb_res_client_id_value_t& id = *ids.data;
        if ((id.spec.mask & wantedId) == 0 || id.length < sizeof(std::uint32_t)) continue;
        // 0 stands for a process in a namespace that the server does not see.
        const std::uint32_t number = *xcb_res_client_id_value_value(ids.data);
        if (number == 0 || number > INT_MAX) continue;
        const std::uint32_t base = id.spec.client & ~setup->resource_id_mask;
        if (base == ourBase) processes.ofUs = static_cast<pid_t>(number);
        if (base == (window & ~setup->resource_id_mask)) processes.ofWindow = static_cast<pid_t>(number);
    }
    return processes;
}

bool isRunning(pid_t process) {
    return kill(process, 0) == 0 || errno == EPERM;
}

/// Whether the window's owner runs on this machine, by its own account; also without any.
bool isLocal(X11Connection::Session& session, xcb_window_t window) {
    const std::string machine = session.text(window, "WM_CLIENT_MACHINE");
    std::array<char, HOST_NAME_MAX + 1> host{};
    if (machine.empty() || gethostname(host.data(), host.size() - 1) != 0) return true;
    return machine.substr(0, machine.find('\0')) == host.data();
}

}  // namespace

std::optional<pid_t> processOfWindow(X11Connection::Session& session, xcb_window_t window) {
    const auto [connected, us] = askServer(session.get(), window);
    const bool sameNumbers = us == getpid();
    if (connected && sameNumbers && isRunning(*connected)) return connected;

    const auto named = session.property<std::uint32_t>(window, "_NET_WM_PID", 1);
    if (named.empty() || named[0] == 0 || named[0] > INT_MAX) return std::nullopt;
    if (sameNumbers && !connected && !isLocal(session, window)) return std::nullopt;
    return static_cast<pid_t>(named[0]);
}

}  // namespace varkel
