#include "client/Image.h"

#include <png.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <stdexcept>

namespace varkel {

ScreenImage scaledDown(ScreenImage image, int maxWidth) {
    const auto width = static_cast<std::size_t>(image.area.width);
    const auto height = static_cast<std::size_t>(image.area.height);
    const auto newWidth = static_cast<std::size_t>(maxWidth);
    if (width <= newWidth) return image;
    const std::size_t newHeight = std::max<std::size_t>(1, height * newWidth / width);

    ScreenImage scaled{{image.area.x, image.area.y, maxWidth, static_cast<int>(newHeight)}, {}};
    scaled.pixels.resize(newWidth * newHeight * 3);
    std::uint8_t* out = scaled.pixels.data();
    for (std::size_t y = 0; y < newHeight; ++y) {
        const std::size_t top = y * height / newHeight;
        const std::size_t bottom = std::max(top + 1, (y + 1) * height / newHeight);
        for (std::size_t x = 0; x < newWidth; ++x) {
            const std::size_t left = x * width / newWidth;
            const std::size_t right = std::max(left + 1, (x + 1) * width / newWidth);
            std::array<std::size_t, 3> sums{};
            for (std::size_t row = top; row < bottom; ++row) {
                const std::uint8_t* in = image.pixels.data() + (row * width + left) * 3;
                for (std::size_t i = 0; i < (right - left) * 3; ++i) sums[i % 3] += in[i];
            }
            const std::size_t count = (bottom - top) * (right - left);
            for (const std::size_t sum : sums) *out++ = static_cast<std::uint8_t>((sum + count / 2) / count);
        }
    }
    return scaled;
}

std::string encodePNG(const ScreenImage& image) {
    png_image header{};
    header.version = PNG_IMAGE_VERSION;
    header.width = static_cast<png_uint_32>(image.area.width);
    header.height = static_cast<png_uint_32>(image.area.height);
    header.format = PNG_FORMAT_RGB;
    header.flags = PNG_IMAGE_FLAG_FAST;
    std::string file(PNG_IMAGE_PNG_SIZE_MAX(header), '\0');
    png_alloc_size_t size = file.size();
    if (png_image_write_to_memory(&header, file.data(), &size, 0, image.pixels.data(), 0, nullptr) == 0) {
        throw std::runtime_error(std::string("the image cannot be written: ") + header.message);
    }
    file.resize(size);
    return file;
}

std::string encodeBase64(std::string_view bytes) {
    constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        std::uint32_t group = 0;
        for (std::size_t k = 0; k < 3; ++k) {
            group = group << 8U | (i + k < bytes.size() ? static_cast<unsigned char>(bytes[i + k]) : 0U);
        }
        for (unsigned k = 0; k < 4; ++k) text += alphabet[group >> (18U - 6U * k) & 63U];
    }
    const std::size_t missing = (3 - bytes.size() % 3) % 3;
    text.replace(text.size() - missing, missing, missing, '=');
    return text;
}

}  // namespace varkel
