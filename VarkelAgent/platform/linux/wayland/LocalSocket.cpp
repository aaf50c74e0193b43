#include "platform/linux/wayland/LocalSocket.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <cstring>

namespace varkel {

FileDescriptor connectToLocalSocket(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.empty() || path.size() >= sizeof(address.sun_path)) return FileDescriptor();
    std::memcpy(address.sun_path, path.data(), path.size());
    FileDescriptor descriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!descriptor ||
        connect(descriptor.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0)
        return FileDescriptor();
    return descriptor;
}

}  // namespace varkel
