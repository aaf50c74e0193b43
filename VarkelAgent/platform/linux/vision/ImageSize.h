#pragma once

#include <optional>
#include <span>

namespace varkel {

struct ImageSize {
    long long width = 0;
    long long height = 0;
};

/// What a BMP file's header claims, read without decoding. Nothing when the header is cut off or is of the
/// oldest kind. Any thread.
std::optional<ImageSize> bmpSize(std::span<const unsigned char> bytes);

/// A GIF file's first frame.
struct GIFFrame {
    ImageSize size;
    /// Where the frame's data end; what follows are further frames.
    std::size_t end = 0;
};

/// Walks the blocks of a GIF file up to its first frame. Nothing when they are cut off or malformed.
std::optional<GIFFrame> firstGIFFrame(std::span<const unsigned char> bytes);

}  // namespace varkel
