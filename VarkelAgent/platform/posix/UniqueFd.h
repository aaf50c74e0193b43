#pragma once

#include <unistd.h>

#include <utility>

namespace varkel {

/// Owns one file descriptor, or none.
class UniqueFd {
  public:
    UniqueFd() = default;
    explicit UniqueFd(int fd) : fd_(fd) {}
    UniqueFd(UniqueFd&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    UniqueFd& operator=(UniqueFd&& other) noexcept {
        if (this != &other) reset(std::exchange(other.fd_, -1));
        return *this;
    }
    ~UniqueFd() { reset(); }

    int get() const { return fd_; }
    explicit operator bool() const { return fd_ >= 0; }
    int release() { return std::exchange(fd_, -1); }

    void reset(int fd = -1) {
        // No retry on EINTR: the descriptor is gone either way, and its number may be someone else's by then.
        if (fd_ >= 0) ::close(fd_);
        fd_ = fd;
    }

  private:
    int fd_ = -1;
};

}  // namespace varkel
