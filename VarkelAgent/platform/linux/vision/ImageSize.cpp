#include "platform/linux/vision/ImageSize.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace varkel {

namespace {

using Bytes = std::span<const unsigned char>;

std::uint32_t little16(Bytes bytes, std::size_t at) {
    return static_cast<std::uint32_t>(bytes[at] | bytes[at + 1] << 8);
}

std::uint32_t little32(Bytes bytes, std::size_t at) {
    return little16(bytes, at) | little16(bytes, at + 2) << 16;
}

std::size_t colourTableBytes(unsigned char flags) {
    return (flags & 0x80) != 0 ? std::size_t{3} << ((flags & 7) + 1) : 0;
}

/// The position after a chain of length-prefixed blocks that starts at `at`; nothing when it is cut off.
std::optional<std::size_t> skipSubBlocks(Bytes bytes, std::size_t at) {
    while (at < bytes.size()) {
        const std::size_t length = bytes[at];
        at += 1 + length;
        if (length == 0) return at;
    }
    return std::nullopt;
}

}  // namespace

std::optional<ImageSize> bmpSize(Bytes bytes) {
    constexpr std::size_t oldestHeader = 12;
    if (bytes.size() < 26 || little32(bytes, 14) <= oldestHeader) return std::nullopt;
    const auto width = static_cast<std::int32_t>(little32(bytes, 18));
    const auto height = static_cast<std::int32_t>(little32(bytes, 22));
    // A negative height means that the rows run from the top.
    return ImageSize{width, std::llabs(height)};
}

std::optional<GIFFrame> firstGIFFrame(Bytes bytes) {
    constexpr unsigned char extension = 0x21;
    constexpr unsigned char imageDescriptor = 0x2C;
    if (bytes.size() < 13) return std::nullopt;
    std::size_t at = 13 + colourTableBytes(bytes[10]);
    while (at + 10 < bytes.size()) {
        if (bytes[at] == extension) {
            const auto next = skipSubBlocks(bytes, at + 2);
            if (!next) return std::nullopt;
            at = *next;
            continue;
        }
        if (bytes[at] != imageDescriptor) return std::nullopt;
        const ImageSize size{little16(bytes, at + 5), little16(bytes, at + 7)};
        const auto end = skipSubBlocks(bytes, at + 10 + colourTableBytes(bytes[at + 9]) + 1);
        if (!end) return std::nullopt;
        return GIFFrame{size, *end};
    }
    return std::nullopt;
}

}  // namespace varkel
