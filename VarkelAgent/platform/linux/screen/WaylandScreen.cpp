#include "platform/linux/screen/WaylandScreen.h"

#include <screencopy-v1-client.h>

#include <algorithm>
#include <chrono>
#include <cstddef>

#include "platform/linux/screen/ScreenParts.h"
#include "platform/linux/screen/SharedMemory.h"
#include "platform/linux/wayland/WaylandConnection.h"
#include "platform/linux/wayland/WaylandOutputs.h"

namespace varkel {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds captureLimit(5'000);
constexpr std::uint32_t longestSide = 32'768;
constexpr std::size_t bytesPerPixel = 4;
constexpr std::uint32_t upsideDown = 1;

/// The formats of pixels that compositors write, by their numbers in wl_shm. All are of four bytes.
enum Format : std::uint32_t { argb = 0, xrgb = 1, xbgr = 0x34324258, abgr = 0x34324241 };

/// One output's image on its way.
struct Frame {
    std::uint32_t format = 0;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint32_t stride = 0;
    std::uint32_t flags = 0;
    bool described = false;
    bool ready = false;
    bool failed = false;

    bool isSane() const {
        return width > 0 && height > 0 && width <= longestSide && height <= longestSide &&
               stride >= width * bytesPerPixel && stride <= longestSide * bytesPerPixel;
    }
    std::size_t size() const { return static_cast<std::size_t>(stride) * height; }
};

Frame& frameOf(void* data) {
    return *static_cast<Frame*>(data);
}

void takeBuffer(void* data, zwlr_screencopy_frame_v1* /*frame*/, std::uint32_t format, std::uint32_t width,
                std::uint32_t height, std::uint32_t stride) {
    Frame& frame = frameOf(data);
    frame.format = format;
    frame.width = width;
    frame.height = height;
    frame.stride = stride;
    frame.described = true;
}

void takeFlags(void* data, zwlr_screencopy_frame_v1* /*frame*/, std::uint32_t flags) {
    frameOf(data).flags = flags;
}

void takeReady(void* data, zwlr_screencopy_frame_v1* /*frame*/, std::uint32_t /*high*/, std::uint32_t /*low*/,
               std::uint32_t /*nanoseconds*/) {
    frameOf(data).ready = true;
}

void takeFailure(void* data, zwlr_screencopy_frame_v1* /*frame*/) {
    frameOf(data).failed = true;
}

constexpr zwlr_screencopy_frame_v1_listener listener{takeBuffer, takeFlags, takeReady, takeFailure};

/// Where a byte of each colour lies in a pixel.
struct Channels {
    std::size_t red;
    std::size_t green;
    std::size_t blue;
};

Channels channelsOf(std::uint32_t format) {
    if (format == argb || format == xrgb) return {2, 1, 0};
    if (format == abgr || format == xbgr) return {0, 1, 2};
    throw ScreenError("The compositor's images are in a format that cannot be read.");
}

/// How a row and a column of the layout lie in the image of an output that is turned.
struct Orientation {
    /// Columns of the layout are rows of the image.
    bool onItsSide;
    bool fromTheRight;
    bool fromBelow;
};

/// By the numbers that wl_output has for it.
Orientation orientationOf(std::int32_t transform) {
    switch (transform) {
        case WL_OUTPUT_TRANSFORM_90:
            return {true, false, true};
        case WL_OUTPUT_TRANSFORM_180:
            return {false, true, true};
        case WL_OUTPUT_TRANSFORM_270:
            return {true, true, false};
        case WL_OUTPUT_TRANSFORM_FLIPPED:
            return {false, true, false};
        case WL_OUTPUT_TRANSFORM_FLIPPED_90:
            return {true, false, false};
        case WL_OUTPUT_TRANSFORM_FLIPPED_180:
            return {false, false, true};
        case WL_OUTPUT_TRANSFORM_FLIPPED_270:
            return {true, true, true};
        default:
            return {false, false, false};
    }
}

/// Writes an output's image to its place in the whole one. Where the output has more pixels than units, each
/// unit gets the mean of its pixels.
class Painter {
  public:
    /// `shown`: what the frame shows.
    Painter(const Frame& frame, std::span<const std::uint8_t> bytes, const ScreenArea& shown,
            std::int32_t transform)
        : frame_(frame),
          bytes_(bytes),
          shown_(shown),
          channels_(channelsOf(frame.format)),
          orientation_(orientationOf(transform)) {
        if ((frame.flags & upsideDown) != 0) orientation_.fromBelow = !orientation_.fromBelow;
    }

    void paint(const ScreenArea& part, ScreenImage& image) const {
        for (int y = 0; y < part.height; ++y) {
            const int row = part.y - image.area.y + y;
            const int column = part.x - image.area.x;
            const auto before = static_cast<std::size_t>(row) * static_cast<std::size_t>(image.area.width) +
                                static_cast<std::size_t>(column);
            std::uint8_t* to = &image.pixels[before * 3];
            for (int x = 0; x < part.width; ++x, to += 3)
                paintUnit(part.x - shown_.x + x, part.y - shown_.y + y, to);
        }
    }

  private:
    struct Range {
        std::size_t begin;
        std::size_t end;
    };

    static Range range(int at, int units, std::uint32_t pixels, bool fromTheEnd) {
        const Range range = rangeFromTheStart(at, units, pixels);
        return fromTheEnd ? Range{pixels - range.end, pixels - range.begin} : range;
    }

    static Range rangeFromTheStart(int at, int units, std::uint32_t pixels) {
        const auto scaled = [&](int place) {
            return static_cast<std::size_t>(place) * pixels / static_cast<std::size_t>(units);
        };
        const std::size_t begin = std::min<std::size_t>(scaled(at), pixels - 1);
        return {begin, std::clamp<std::size_t>(scaled(at + 1), begin + 1, pixels)};
    }

    void paintUnit(int x, int y, std::uint8_t* to) const {
        if (orientation_.onItsSide) {
            mean(range(y, shown_.height, frame_.width, orientation_.fromTheRight),
                 range(x, shown_.width, frame_.height, orientation_.fromBelow), to);
        } else {
            mean(range(x, shown_.width, frame_.width, orientation_.fromTheRight),
                 range(y, shown_.height, frame_.height, orientation_.fromBelow), to);
        }
    }

    void mean(const Range& columns, const Range& rows, std::uint8_t* to) const {
        std::size_t red = 0;
        std::size_t green = 0;
        std::size_t blue = 0;
        for (std::size_t row = rows.begin; row < rows.end; ++row) {
            const std::uint8_t* at = &bytes_[row * frame_.stride + columns.begin * bytesPerPixel];
            for (std::size_t column = columns.begin; column < columns.end; ++column, at += bytesPerPixel) {
                red += at[channels_.red];
                green += at[channels_.green];
                blue += at[channels_.blue];
            }
        }
        const std::size_t count = (columns.end - columns.begin) * (rows.end - rows.begin);
        to[0] = static_cast<std::uint8_t>(red / count);
        to[1] = static_cast<std::uint8_t>(green / count);
        to[2] = static_cast<std::uint8_t>(blue / count);
    }

    const Frame& frame_;
    std::span<const std::uint8_t> bytes_;
    ScreenArea shown_;
    Channels channels_;
    Orientation orientation_;
};

/// One image of a screen: its connection lives as long as it takes.
class Capture {
  public:
    ScreenImage take(const std::optional<ScreenArea>& wanted) {
        connect();
        const LayoutArea layout = outputs_.layout();
        ScreenImage image;
        image.area = visiblePart(wanted, {layout.x, layout.y, layout.width, layout.height});
        if (image.area.width <= 0 || image.area.height <= 0)
            throw ScreenError("Nothing of it lies on the screen.");
        image.pixels.resize(static_cast<std::size_t>(image.area.width) *
                            static_cast<std::size_t>(image.area.height) * 3);
        for (const WaylandOutputs::Output& each : outputs_.all()) {
            const LayoutArea& area = each.area;
            const ScreenArea part = visiblePart(image.area, {area.x, area.y, area.width, area.height});
            if (part.width > 0 && part.height > 0) takeOutput(each, part, image);
        }
        return image;
    }

  private:
    void connect() {
        if (!connection_.connect(deadline_)) throw ScreenError("The Wayland compositor does not answer.");
        screencopy_.reset(
            connection_.bind<zwlr_screencopy_manager_v1>(zwlr_screencopy_manager_v1_interface, 1));
        memory_.reset(connection_.bind<wl_shm>(wl_shm_interface, 1));
        if (!screencopy_ || !memory_)
            throw ScreenError("This Wayland session lets no program take images of the screen.");
        if (!outputs_.load(connection_, deadline_)) throw lost();
    }

    static ScreenError lost() { return ScreenError("The Wayland compositor gave no image of the screen."); }

    /// `part` of an output goes to its place in the image. Of one that is turned all is taken: compositors on
    /// wlroots 0.15 take another part of it than they are asked for.
    void takeOutput(const WaylandOutputs::Output& output, const ScreenArea& part, ScreenImage& image) {
        const LayoutArea& all = output.area;
        const bool isTurned = output.transform != WL_OUTPUT_TRANSFORM_NORMAL;
        const ScreenArea shown = isTurned ? ScreenArea{all.x, all.y, all.width, all.height} : part;
        Frame frame;
        constexpr int withoutPointer = 0;
        const WaylandPtr<zwlr_screencopy_frame_v1, zwlr_screencopy_frame_v1_destroy> request(
            zwlr_screencopy_manager_v1_capture_output_region(screencopy_.get(), withoutPointer, output.output,
                                                             shown.x - all.x, shown.y - all.y, shown.width,
                                                             shown.height));
        zwlr_screencopy_frame_v1_add_listener(request.get(), &listener, &frame);
        wait(frame, frame.described);
        if (!frame.isSane()) throw lost();

        const SharedMemory shared(frame.size());
        if (!shared) throw ScreenError("There is no memory for an image of the screen.");
        const FileDescriptor descriptor(shared.duplicate());
        const WaylandPtr<wl_shm_pool, wl_shm_pool_destroy> pool(
            wl_shm_create_pool(memory_.get(), descriptor.get(), static_cast<std::int32_t>(frame.size())));
        const WaylandPtr<wl_buffer, wl_buffer_destroy> buffer(wl_shm_pool_create_buffer(
            pool.get(), 0, static_cast<std::int32_t>(frame.width), static_cast<std::int32_t>(frame.height),
            static_cast<std::int32_t>(frame.stride), frame.format));
        zwlr_screencopy_frame_v1_copy(request.get(), buffer.get());
        wait(frame, frame.ready);
        Painter(frame, shared.bytes(), shown, output.transform).paint(part, image);
    }

    void wait(const Frame& frame, const bool& done) {
        const bool answered = connection_.dispatchUntil([&] { return done || frame.failed; }, deadline_);
        if (!answered || frame.failed) throw lost();
    }

    const Clock::time_point deadline_ = Clock::now() + captureLimit;
    WaylandConnection connection_;
    WaylandPtr<zwlr_screencopy_manager_v1, zwlr_screencopy_manager_v1_destroy> screencopy_;
    WaylandPtr<wl_shm, wl_shm_destroy> memory_;
    WaylandOutputs outputs_;
};

class WaylandScreen : public Screen {
  public:
    ScreenImage capture(std::optional<ScreenArea> wanted) override { return Capture().take(wanted); }
};

}  // namespace

std::unique_ptr<Screen> makeWaylandScreen() {
    return std::make_unique<WaylandScreen>();
}

}  // namespace varkel
