#include "platform/linux/vision/ImageDecoder.h"

#include <leptonica/allheaders.h>
#include <png.h>

#include <mutex>
#include <optional>

#include "platform/linux/vision/ImageSize.h"
#include "platform/linux/vision/JPEGDecoder.h"
#include "platform/linux/vision/PixOwner.h"

namespace varkel {

namespace {

using Bytes = std::span<const unsigned char>;
using Planes = std::shared_ptr<PixelPlanes>;

/// A side is compared first: the product of two sides that fit is no overflow.
bool acceptable(ImageSize size, long long mostPixels) {
    return size.width > 0 && size.height > 0 && size.width <= mostPixels && size.height <= mostPixels &&
           size.width * size.height <= mostPixels;
}

Planes makePlanes(int width, int height) {
    auto planes = std::make_shared<PixelPlanes>();
    planes->width = width;
    planes->height = height;
    const std::size_t count = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    planes->red.resize(count);
    planes->green.resize(count);
    planes->blue.resize(count);
    return planes;
}

/// Screenshots are PNG files: this path avoids a copy, and libpng's simplified interface never prints.
Planes decodePNG(Bytes bytes, long long mostPixels) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    if (png_image_begin_read_from_memory(&image, bytes.data(), bytes.size()) == 0) return nullptr;
    const std::unique_ptr<png_image, void (*)(png_image*)> owner(&image, png_image_free);
    if (!acceptable({image.width, image.height}, mostPixels)) return nullptr;

    image.format = PNG_FORMAT_RGB;
    std::vector<unsigned char> pixels(PNG_IMAGE_SIZE(image));
    const png_color white{255, 255, 255};
    if (png_image_finish_read(&image, &white, pixels.data(), 0, nullptr) == 0) return nullptr;
    Planes planes = makePlanes(static_cast<int>(image.width), static_cast<int>(image.height));
    for (std::size_t i = 0; i < planes->red.size(); ++i) {
        planes->red[i] = pixels[3 * i];
        planes->green[i] = pixels[3 * i + 1];
        planes->blue[i] = pixels[3 * i + 2];
    }
    return planes;
}

Planes planesOf(Pix* source) {
    const PixOwner opaque(pixGetSpp(source) == 4 && pixGetDepth(source) == 32
                              ? pixAlphaBlendUniform(source, 0xffffff00)
                              : pixClone(source));
    // Not left to the conversion to 32 bits, which takes two colours for black and white.
    const PixOwner plain(opaque ? pixRemoveColormap(opaque.get(), REMOVE_CMAP_TO_FULL_COLOR) : nullptr);
    const PixOwner pix(plain ? pixConvertTo32(plain.get()) : nullptr);
    if (!pix) return nullptr;
    Planes planes = makePlanes(pixGetWidth(pix.get()), pixGetHeight(pix.get()));
    const l_uint32* data = pixGetData(pix.get());
    const int wordsPerLine = pixGetWpl(pix.get());
    for (int y = 0; y < planes->height; ++y) {
        const l_uint32* line = data + static_cast<std::ptrdiff_t>(y) * wordsPerLine;
        const std::size_t at = planes->offset(0, y);
        for (int x = 0; x < planes->width; ++x) {
            const std::size_t i = at + static_cast<std::size_t>(x);
            planes->red[i] = static_cast<std::uint8_t>(line[x] >> L_RED_SHIFT);
            planes->green[i] = static_cast<std::uint8_t>(line[x] >> L_GREEN_SHIFT);
            planes->blue[i] = static_cast<std::uint8_t>(line[x] >> L_BLUE_SHIFT);
        }
    }
    return planes;
}

bool isTIFF(l_int32 format) {
    switch (format) {
        case IFF_TIFF:
        case IFF_TIFF_PACKBITS:
        case IFF_TIFF_RLE:
        case IFF_TIFF_G3:
        case IFF_TIFF_G4:
        case IFF_TIFF_LZW:
        case IFF_TIFF_ZIP:
        case IFF_TIFF_JPEG:
            return true;
        default:
            return false;
    }
}

/// The size from the header where Leptonica reads it without decoding.
std::optional<ImageSize> headerSize(Bytes bytes, l_int32 format) {
    l_int32 width = 0;
    l_int32 height = 0;
    l_int32 rest = 0;
    if (isTIFF(format)) {
        if (readHeaderMemTiff(bytes.data(), bytes.size(), 0, &width, &height, &rest, &rest, nullptr, nullptr,
                              nullptr) != 0) {
            return std::nullopt;
        }
    } else if (pixReadHeaderMem(bytes.data(), bytes.size(), nullptr, &width, &height, &rest, &rest,
                                nullptr) != 0) {
        return std::nullopt;
    }
    return ImageSize{width, height};
}

Planes decodeGIF(Bytes bytes, long long mostPixels) {
    const auto frame = firstGIFFrame(bytes);
    if (!frame || !acceptable(frame->size, mostPixels)) return nullptr;
    // The library decodes every frame it is given, so it is given one.
    std::vector<unsigned char> single(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(frame->end));
    single.push_back(';');
    const PixOwner pix(pixReadMemGif(single.data(), single.size()));
    return pix ? planesOf(pix.get()) : nullptr;
}

Planes decodeOther(Bytes bytes, l_int32 format, long long mostPixels) {
    const auto size = format == IFF_BMP ? bmpSize(bytes) : headerSize(bytes, format);
    if (!size || !acceptable(*size, mostPixels)) return nullptr;
    const PixOwner pix(isTIFF(format) ? pixReadMemTiff(bytes.data(), bytes.size(), 0)
                                      : pixReadMem(bytes.data(), bytes.size()));
    return pix ? planesOf(pix.get()) : nullptr;
}

Planes decodeFormat(Bytes bytes, l_int32 format, long long mostPixels) {
    if (format == IFF_PNG) return decodePNG(bytes, mostPixels);
    if (format == IFF_GIF) return decodeGIF(bytes, mostPixels);
    if (format == IFF_JFIF_JPEG) return decodeJPEG(bytes, mostPixels);
    const bool other = format == IFF_BMP || format == IFF_PNM || format == IFF_WEBP;
    return other || isTIFF(format) ? decodeOther(bytes, format, mostPixels) : nullptr;
}

/// A few of its messages have no severity, and go to the terminal unless they are taken.
void silenceLeptonica() {
    static std::once_flag done;
    std::call_once(done, [] {
        setMsgSeverity(L_SEVERITY_NONE);
        leptSetStderrHandler([](const char*) {});
    });
}

}  // namespace

std::shared_ptr<const PixelPlanes> decodeImage(Bytes bytes, long long mostPixels) {
    // Shorter than any image, and than what the format test reads.
    constexpr std::size_t shortest = 12;
    if (bytes.size() < shortest) return nullptr;
    silenceLeptonica();
    l_int32 format = IFF_UNKNOWN;
    if (findFileFormatBuffer(bytes.data(), &format) != 0) return nullptr;
    return decodeFormat(bytes, format, mostPixels);
}

}  // namespace varkel
