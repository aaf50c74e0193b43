#include "platform/linux/screen/X11Screen.h"

#include <xcb/shm.h>

#include <algorithm>
#include <bit>
#include <span>

#include "platform/linux/screen/ScreenParts.h"
#include "platform/linux/screen/SharedMemory.h"
#include "platform/linux/x11/X11Connection.h"

namespace varkel {

namespace {

constexpr std::chrono::milliseconds captureLimit(5'000);
constexpr std::uint32_t allPlanes = ~0U;

/// How the server writes the root window's pixels.
struct PixelFormat {
    unsigned bytesPerPixel = 0;
    unsigned rowPadding = 0;
    bool lowByteFirst = true;
    std::uint32_t red = 0;
    std::uint32_t green = 0;
    std::uint32_t blue = 0;

    std::size_t rowBytes(int width) const {
        const std::size_t bytes = static_cast<std::size_t>(width) * bytesPerPixel;
        return (bytes + rowPadding - 1) / rowPadding * rowPadding;
    }
};

const xcb_visualtype_t* rootVisual(const xcb_screen_t* screen) {
    for (auto depth = xcb_screen_allowed_depths_iterator(screen); depth.rem > 0; xcb_depth_next(&depth)) {
        for (auto visual = xcb_depth_visuals_iterator(depth.data); visual.rem > 0;
             xcb_visualtype_next(&visual)) {
            if (visual.data->visual_id == screen->root_visual) return visual.data;
        }
    }
    return nullptr;
}

PixelFormat formatOf(xcb_connection_t* connection, const xcb_screen_t* screen) {
    const xcb_setup_t* setup = xcb_get_setup(connection);
    const xcb_visualtype_t* visual = rootVisual(screen);
    PixelFormat format;
    for (auto each = xcb_setup_pixmap_formats_iterator(setup); each.rem > 0; xcb_format_next(&each)) {
        if (each.data->depth != screen->root_depth) continue;
        format.bytesPerPixel = each.data->bits_per_pixel / 8U;
        format.rowPadding = std::max(each.data->scanline_pad / 8U, 1U);
    }
    const bool isKnown = format.bytesPerPixel == 2 || format.bytesPerPixel == 4;
    if (visual == nullptr || !isKnown || visual->red_mask == 0 || visual->green_mask == 0 ||
        visual->blue_mask == 0) {
        throw ScreenError("The screen has a format of pixels that cannot be read.");
    }
    format.lowByteFirst = setup->image_byte_order == XCB_IMAGE_ORDER_LSB_FIRST;
    format.red = visual->red_mask;
    format.green = visual->green_mask;
    format.blue = visual->blue_mask;
    return format;
}

std::uint8_t channel(std::uint32_t pixel, std::uint32_t mask) {
    const auto shift = static_cast<unsigned>(std::countr_zero(mask));
    const std::uint64_t highest = mask >> shift;
    return static_cast<std::uint8_t>(((pixel & mask) >> shift) * std::uint64_t{255} / highest);
}

std::uint32_t pixelAt(const std::uint8_t* at, const PixelFormat& format) {
    std::uint32_t pixel = 0;
    for (unsigned i = 0; i < format.bytesPerPixel; ++i) {
        const unsigned from = format.lowByteFirst ? format.bytesPerPixel - 1 - i : i;
        pixel = pixel << 8U | at[from];
    }
    return pixel;
}

void convertRow(const std::uint8_t* from, std::uint8_t* to, int width, const PixelFormat& format) {
    const bool isUsual = format.bytesPerPixel == 4 && format.lowByteFirst && format.red == 0xFF0000U &&
                         format.green == 0xFF00U && format.blue == 0xFFU;
    for (int x = 0; x < width; ++x, from += format.bytesPerPixel, to += 3) {
        if (isUsual) {
            to[0] = from[2];
            to[1] = from[1];
            to[2] = from[0];
            continue;
        }
        const std::uint32_t pixel = pixelAt(from, format);
        to[0] = channel(pixel, format.red);
        to[1] = channel(pixel, format.green);
        to[2] = channel(pixel, format.blue);
    }
}

std::vector<std::uint8_t> convert(std::span<const std::uint8_t> bytes, const ScreenArea& area,
                                  const PixelFormat& format) {
    const auto width = static_cast<std::size_t>(area.width);
    const auto height = static_cast<std::size_t>(area.height);
    const std::size_t row = format.rowBytes(area.width);
    if (bytes.size() < row * height) throw ScreenError("The X server sent less than a whole image.");
    std::vector<std::uint8_t> pixels(width * height * 3);
    for (std::size_t y = 0; y < height; ++y) {
        convertRow(bytes.data() + y * row, pixels.data() + y * width * 3, area.width, format);
    }
    return pixels;
}

bool canShareMemory(xcb_connection_t* connection) {
    const auto* extension = xcb_get_extension_data(connection, &xcb_shm_id);
    if (extension == nullptr || extension->present == 0) return false;
    const XcbPtr<xcb_shm_query_version_reply_t> version(
        xcb_shm_query_version_reply(connection, xcb_shm_query_version(connection), nullptr));
    return version && (version->major_version > 1 || version->minor_version >= 2);
}

/// True when the server has written the image into the memory, which a server elsewhere cannot.
bool captureShared(X11Connection::Session& session, const ScreenArea& area, const SharedMemory& memory) {
    xcb_connection_t* connection = session.get();
    if (!memory || !canShareMemory(connection)) return false;
    const int descriptor = memory.duplicate();
    if (descriptor < 0) return false;
    const xcb_shm_seg_t segment = xcb_generate_id(connection);
    const auto attached = xcb_shm_attach_fd_checked(connection, segment, descriptor, 0);
    if (const XcbPtr<xcb_generic_error_t> error(xcb_request_check(connection, attached)); error) return false;
    const XcbPtr<xcb_shm_get_image_reply_t> reply(xcb_shm_get_image_reply(
        connection,
        xcb_shm_get_image(connection, session.root(), static_cast<std::int16_t>(area.x),
                          static_cast<std::int16_t>(area.y), static_cast<std::uint16_t>(area.width),
                          static_cast<std::uint16_t>(area.height), allPlanes, XCB_IMAGE_FORMAT_Z_PIXMAP,
                          segment, 0),
        nullptr));
    xcb_shm_detach(connection, segment);
    xcb_flush(connection);
    return reply != nullptr;
}

std::vector<std::uint8_t> captureOverSocket(X11Connection::Session& session, const ScreenArea& area,
                                            const PixelFormat& format) {
    xcb_connection_t* connection = session.get();
    const XcbPtr<xcb_get_image_reply_t> reply(xcb_get_image_reply(
        connection,
        xcb_get_image(connection, XCB_IMAGE_FORMAT_Z_PIXMAP, session.root(),
                      static_cast<std::int16_t>(area.x), static_cast<std::int16_t>(area.y),
                      static_cast<std::uint16_t>(area.width), static_cast<std::uint16_t>(area.height),
                      allPlanes),
        nullptr));
    if (!reply) throw ScreenError("The X server gave no image of the screen.");
    const int length = xcb_get_image_data_length(reply.get());
    return convert({xcb_get_image_data(reply.get()), static_cast<std::size_t>(length)}, area, format);
}

class X11Screen : public Screen {
  public:
    ScreenImage capture(std::optional<ScreenArea> wanted) override {
        X11Connection::Session session(connection_, captureLimit);
        if (!session)
            throw ScreenError("There is no X server to take an image of (DISPLAY names none that answers).");
        const XcbPtr<xcb_get_geometry_reply_t> root(
            xcb_get_geometry_reply(session.get(), xcb_get_geometry(session.get(), session.root()), nullptr));
        if (!root) throw ScreenError("The X server does not answer.");
        const ScreenArea area = visiblePart(wanted, {0, 0, root->width, root->height});
        if (area.width <= 0 || area.height <= 0) throw ScreenError("Nothing of it lies on the screen.");

        const PixelFormat format = formatOf(session.get(), session.screen());
        const SharedMemory memory(format.rowBytes(area.width) * static_cast<std::size_t>(area.height));
        if (captureShared(session, area, memory)) return {area, convert(memory.bytes(), area, format)};
        return {area, captureOverSocket(session, area, format)};
    }

  private:
    X11Connection connection_;
};

}  // namespace

std::unique_ptr<Screen> makeX11Screen() {
    return std::make_unique<X11Screen>();
}

}  // namespace varkel
