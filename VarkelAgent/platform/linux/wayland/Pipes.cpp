#include "platform/linux/wayland/Pipes.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>

namespace varkel {

namespace {

bool awaitPipe(int descriptor, short events, Deadline deadline) {
    pollfd pipe{descriptor, events, 0};
    for (;;) {
        const int ready = poll(&pipe, 1, static_cast<int>(deadline.left().count()));
        if (ready >= 0 || errno != EINTR) return ready > 0;
    }
}

void makeNonBlocking(int descriptor) {
    fcntl(descriptor, F_SETFL, fcntl(descriptor, F_GETFL) | O_NONBLOCK);
}

}  // namespace

std::optional<std::string> readPipe(int descriptor, std::size_t limit, Deadline deadline) {
    makeNonBlocking(descriptor);
    std::string bytes;
    std::array<char, 65536> buffer{};
    while (bytes.size() <= limit && awaitPipe(descriptor, POLLIN, deadline)) {
        const ssize_t count = read(descriptor, buffer.data(), buffer.size());
        if (count == 0) return bytes;
        if (count < 0) return std::nullopt;
        bytes.append(buffer.data(), static_cast<std::size_t>(count));
    }
    return std::nullopt;
}

bool writePipe(int descriptor, std::string_view bytes, Deadline deadline) {
    makeNonBlocking(descriptor);
    while (!bytes.empty() && awaitPipe(descriptor, POLLOUT, deadline)) {
        const ssize_t count = write(descriptor, bytes.data(), bytes.size());
        if (count < 0) return false;
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return bytes.empty();
}

}  // namespace varkel
