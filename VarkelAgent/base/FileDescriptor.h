#pragma once

#include <utility>

namespace varkel {

/// Owns an open file descriptor, or none.
class FileDescriptor {
  public:
    FileDescriptor() = default;
    explicit FileDescriptor(int descriptor) : descriptor_(descriptor) {}
    FileDescriptor(FileDescriptor&& other) noexcept : descriptor_(other.release()) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        if (this != &other) reset(other.release());
        return *this;
    }
    ~FileDescriptor() { reset(); }

    int get() const { return descriptor_; }
    explicit operator bool() const { return descriptor_ >= 0; }

    /// Gives the descriptor away: the caller owns it.
    int release() { return std::exchange(descriptor_, -1); }

    /// Closes what is owned and takes `descriptor` in its place.
    void reset(int descriptor = -1);

  private:
    int descriptor_ = -1;
};

}  // namespace varkel
