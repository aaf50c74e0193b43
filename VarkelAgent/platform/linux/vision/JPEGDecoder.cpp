#include "platform/linux/vision/JPEGDecoder.h"

#include <csetjmp>
#include <cstdio>
#include <vector>

// After <cstdio>, whose names it uses.
#include <jpeglib.h>

namespace varkel {

namespace {

/// More than any program writes. Each costs the time of a whole image, however few bytes it has.
constexpr int mostScans = 200;

/// The library's own handlers print and end the process.
struct QuietErrors {
    jpeg_error_mgr manager{};
    std::jmp_buf escape{};
};

[[noreturn]] void leave(j_common_ptr info) {
    // The manager is the first member.
    std::longjmp(reinterpret_cast<QuietErrors*>(info->err)->escape, 1);
}

void keepSilent(j_common_ptr) {}

void countScans(j_common_ptr info) {
    if (reinterpret_cast<j_decompress_ptr>(info)->input_scan_number > mostScans) leave(info);
}

/// Inks are stored inverted, as nearly every program does.
std::uint8_t withBlack(JSAMPLE ink, JSAMPLE black) {
    return static_cast<std::uint8_t>(ink * black / 255);
}

void storeRow(const JSAMPLE* row, bool inks, std::size_t at, PixelPlanes& planes) {
    const auto width = static_cast<std::size_t>(planes.width);
    for (std::size_t x = 0; x < width; ++x, row += inks ? 4 : 3) {
        planes.red[at + x] = inks ? withBlack(row[0], row[3]) : row[0];
        planes.green[at + x] = inks ? withBlack(row[1], row[3]) : row[1];
        planes.blue[at + x] = inks ? withBlack(row[2], row[3]) : row[2];
    }
}

/// Everything with a destructor lives in the caller: an error jumps out of here.
bool decodeInto(jpeg_decompress_struct& info, std::span<const unsigned char> bytes, long long maxPixels,
                PixelPlanes& planes, std::vector<JSAMPLE>& row) {
    jpeg_mem_src(&info, bytes.data(), bytes.size());
    if (jpeg_read_header(&info, TRUE) != JPEG_HEADER_OK) return false;
    if (static_cast<long long>(info.image_width) * info.image_height > maxPixels) return false;
    const bool inks = info.num_components == 4;
    info.out_color_space = inks ? JCS_CMYK : JCS_RGB;
    jpeg_start_decompress(&info);
    planes.width = static_cast<int>(info.output_width);
    planes.height = static_cast<int>(info.output_height);
    const std::size_t count =
        static_cast<std::size_t>(info.output_width) * static_cast<std::size_t>(info.output_height);
    planes.red.resize(count);
    planes.green.resize(count);
    planes.blue.resize(count);
    row.resize(static_cast<std::size_t>(info.output_width) * 4);
    while (info.output_scanline < info.output_height) {
        const std::size_t at = planes.offset(0, static_cast<int>(info.output_scanline));
        JSAMPROW target = row.data();
        if (jpeg_read_scanlines(&info, &target, 1) != 1) return false;
        storeRow(row.data(), inks, at, planes);
    }
    return true;
}

}  // namespace

std::shared_ptr<PixelPlanes> decodeJPEG(std::span<const unsigned char> bytes, long long maxPixels) {
    QuietErrors errors;
    jpeg_decompress_struct info{};
    info.err = jpeg_std_error(&errors.manager);
    errors.manager.error_exit = leave;
    errors.manager.output_message = keepSilent;
    const auto planes = std::make_shared<PixelPlanes>();
    std::vector<JSAMPLE> row;
    jpeg_progress_mgr progress{};
    progress.progress_monitor = countScans;
    // Nothing is changed between here and the jump but through pointers.
    if (setjmp(errors.escape) != 0) {
        jpeg_destroy_decompress(&info);
        return nullptr;
    }
    jpeg_create_decompress(&info);
    info.progress = &progress;
    const bool complete = decodeInto(info, bytes, maxPixels, *planes, row);
    jpeg_destroy_decompress(&info);
    return complete ? planes : nullptr;
}

}  // namespace varkel
