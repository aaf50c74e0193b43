#include <gtest/gtest.h>
#include <leptonica/allheaders.h>

#include "platform/linux/vision/ImageDecoder.h"
#include "platform/linux/vision/PixOwner.h"

namespace varkel {
namespace {

std::shared_ptr<const PixelPlanes> decode(const std::string& bytes, long long mostPixels = largestImage) {
    return decodeImage({reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()}, mostPixels);
}

/// A white image with a blue-green rectangle at (10, 5), 20 by 10.
PixOwner image() {
    PixOwner pix(pixCreate(64, 48, 32));
    pixSetAllArbitrary(pix.get(), 0xffffff00);
    for (int y = 5; y < 15; ++y) {
        for (int x = 10; x < 30; ++x) pixSetRGBPixel(pix.get(), x, y, 20, 140, 200);
    }
    return pix;
}

std::string encode(Pix* pix, l_int32 format) {
    l_uint8* data = nullptr;
    size_t size = 0;
    // For GIF and WebP too; JPEG and WebP at full quality.
    pixWriteMem(&data, &size, pix, format);
    std::string bytes(reinterpret_cast<char*>(data), size);
    lept_free(data);
    return bytes;
}

struct Format {
    const char* name;
    l_int32 code;
    int tolerance;
};
constexpr Format formats[] = {{"PNG", IFF_PNG, 0},    {"JPEG", IFF_JFIF_JPEG, 24}, {"TIFF", IFF_TIFF_LZW, 0},
                              {"WebP", IFF_WEBP, 24}, {"GIF", IFF_GIF, 12},        {"BMP", IFF_BMP, 0},
                              {"PNM", IFF_PNM, 0}};

TEST(ImageDecoder, DecodesTheUsualFormats) {
    const PixOwner pix = image();
    for (const Format& format : formats) {
        const auto planes = decode(encode(pix.get(), format.code));
        ASSERT_TRUE(planes) << format.name;
        ASSERT_EQ(planes->width, 64) << format.name;
        ASSERT_EQ(planes->height, 48) << format.name;
        const std::size_t inside = planes->offset(20, 10);
        EXPECT_NEAR(planes->red[inside], 20, format.tolerance) << format.name;
        EXPECT_NEAR(planes->green[inside], 140, format.tolerance) << format.name;
        EXPECT_NEAR(planes->blue[inside], 200, format.tolerance) << format.name;
        EXPECT_NEAR(planes->red[planes->offset(60, 40)], 255, format.tolerance) << format.name;
    }
}

/// What decoding printed.
std::string noiseOf(const std::string& bytes, bool expectNothing) {
    testing::internal::CaptureStderr();
    const auto planes = decode(bytes);
    EXPECT_FALSE(expectNothing && planes);
    return testing::internal::GetCapturedStderr();
}

TEST(ImageDecoder, SurvivesFilesThatAreCutOffOrFlippedAnywhereWithoutAWord) {
    const PixOwner pix = image();
    for (const Format& format : formats) {
        const std::string bytes = encode(pix.get(), format.code);
        for (std::size_t at = 0; at < bytes.size(); at += 1 + bytes.size() / 61) {
            EXPECT_EQ(noiseOf(bytes.substr(0, at), at < 12), "") << format.name << at;
            std::string broken = bytes;
            broken[at] = static_cast<char>(~broken[at]);
            EXPECT_EQ(noiseOf(broken, false), "") << format.name << at;
        }
    }
    // A largest value of 0: Leptonica tells the terminal about it, however little it is asked to tell.
    EXPECT_EQ(noiseOf("P2\n2 20 0 1\n", true), "");
}

TEST(ImageDecoder, RefusesImagesBeyondTheLimit) {
    const PixOwner pix = image();
    for (const Format& format : formats) {
        const std::string bytes = encode(pix.get(), format.code);
        EXPECT_TRUE(decode(bytes, 64 * 48)) << format.name;
        EXPECT_FALSE(decode(bytes, 64 * 48 - 1)) << format.name;
    }
    // Decoding it would take 14 GB.
    EXPECT_FALSE(decode("P6 60000 60000 255\n123456789"));
}

TEST(ImageDecoder, DecodesOnlyTheFirstFrameOfAnAnimation) {
    const PixOwner pix = image();
    const std::string single = encode(pix.get(), IFF_GIF);
    // A second frame that claims an enormous size follows the first.
    const std::string enormous(
        ","
        "\0\0\0\0"
        "\xE8\xFD\xE8\xFD"
        "\0"
        "\x02\x01\x44\0;",
        15);
    const auto planes = decode(single.substr(0, single.size() - 1) + enormous);
    ASSERT_TRUE(planes);
    EXPECT_EQ(planes->width, 64);
}

TEST(ImageDecoder, RefusesAProgressiveImageOfEndlessScans) {
    const PixOwner pix = image();
    l_uint8* data = nullptr;
    size_t size = 0;
    pixWriteMemJpeg(&data, &size, pix.get(), 90, 1);
    const std::string bytes(reinterpret_cast<char*>(data), size);
    lept_free(data);
    ASSERT_TRUE(decode(bytes));
    // The last scan over and over: a few bytes each, and all of the image is gone through again for it.
    const std::size_t scan = bytes.rfind("\xFF\xDA");
    const std::size_t end = bytes.rfind("\xFF\xD9");
    ASSERT_LT(scan, end);
    std::string many = bytes.substr(0, end);
    for (int i = 0; i < 2000; ++i) many += bytes.substr(scan, end - scan);
    EXPECT_FALSE(decode(many + bytes.substr(end)));
}

}  // namespace
}  // namespace varkel
