#pragma once

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <span>

#include "base/FileDescriptor.h"

namespace varkel {

/// Memory that a window system writes an image into. Empty when the system has none to give.
class SharedMemory {
  public:
    explicit SharedMemory(std::size_t size)
        : file_(memfd_create("varkel-screen", MFD_CLOEXEC | MFD_ALLOW_SEALING)), size_(size) {
        if (!file_ || ftruncate(file_.get(), static_cast<off_t>(size)) != 0) return;
        // So the other side cannot take memory away that is being read here.
        fcntl(file_.get(), F_ADD_SEALS, F_SEAL_SHRINK);
        void* mapped = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, file_.get(), 0);
        if (mapped != MAP_FAILED) bytes_ = static_cast<std::uint8_t*>(mapped);
    }
    SharedMemory(const SharedMemory&) = delete;
    SharedMemory& operator=(const SharedMemory&) = delete;
    ~SharedMemory() {
        if (bytes_) munmap(bytes_, size_);
    }

    explicit operator bool() const { return bytes_ != nullptr; }
    /// A descriptor for the other side, which belongs to the caller.
    int duplicate() const { return fcntl(file_.get(), F_DUPFD_CLOEXEC, 3); }
    std::span<const std::uint8_t> bytes() const { return {bytes_, size_}; }

  private:
    FileDescriptor file_;
    std::size_t size_;
    std::uint8_t* bytes_ = nullptr;
};

}  // namespace varkel
