#pragma once

#include <sys/socket.h>
#include <sys/un.h>

#include <cstddef>
#include <string>

#include "base/FileDescriptor.h"

namespace varkel::test {

/// A socket that listens in the file system, or where `abstract`, by a name that leaves no file behind and
/// that any user of the machine may take. Nothing when it cannot be had.
inline FileDescriptor listenLocally(const std::string& name, bool abstract = true) {
    FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un place{};
    place.sun_family = AF_UNIX;
    // An abstract name stands behind a byte of 0.
    const std::size_t before = abstract ? 1 : 0;
    name.copy(place.sun_path + before, sizeof place.sun_path - 1);
    const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + before + name.size());
    if (::bind(socket.get(), reinterpret_cast<sockaddr*>(&place), size) != 0) return {};
    return ::listen(socket.get(), 64) == 0 ? std::move(socket) : FileDescriptor();
}

}  // namespace varkel::test
