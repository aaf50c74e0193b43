#pragma once

#include <cstddef>
#include <vector>

#include "platform/linux/vision/PixelPlanes.h"

namespace varkel {

/// An image with copies of a half, a quarter and an eighth of its width and height. What tells letters from
/// frames and icons is a matter of pixels, so large letters are looked for where they are small.
class Pyramid {
  public:
    /// Keeps a reference to the image. Any thread, as is all else.
    explicit Pyramid(const PixelPlanes& image);

    /// 1 and more.
    std::size_t levels() const { return halves_.size() + 1; }
    /// Level 0 is the image itself; a pixel of level n covers 2^n by 2^n of its pixels.
    const PixelPlanes& at(std::size_t level) const { return level == 0 ? image_ : halves_[level - 1]; }

  private:
    const PixelPlanes& image_;
    std::vector<PixelPlanes> halves_;
};

}  // namespace varkel
