#include "base/FileDescriptor.h"

#include <unistd.h>

namespace varkel {

void FileDescriptor::reset(int descriptor) {
    // Not repeated when interrupted: the descriptor is gone either way.
    if (descriptor_ >= 0) ::close(descriptor_);
    descriptor_ = descriptor;
}

}  // namespace varkel
