#include "platform/linux/vision/EdgeMask.h"

#include <algorithm>
#include <cstdlib>

namespace varkel {

namespace {

using Byte = std::uint8_t;

/// The least difference of a colour channel that counts as an edge: disabled text differs by about 60 from
/// its background and less where strokes are thin; gradients and shadows stay below.
constexpr int edgeContrast = 28;
/// The most by which a straight line's colour may change from one pixel to the next.
constexpr int lineSmoothness = 10;
/// The shortest line that no stroke of a letter reaches.
constexpr int longLine = 40;

/// One row of edge measurements; all loops run over bytes so that they become vector instructions.
class RowMeasure {
  public:
    explicit RowMeasure(std::size_t count)
        : contrast(count), alongTop(count), alongBottom(count), across(count + 1) {}

    void start() {
        std::fill(contrast.begin(), contrast.end(), Byte{0});
        std::fill(alongTop.begin(), alongTop.end(), Byte{0});
        std::fill(alongBottom.begin(), alongBottom.end(), Byte{0});
        std::fill(across.begin(), across.end(), Byte{0});
    }

    void add(const Byte* top, const Byte* bottom) {
        const std::size_t count = contrast.size();
        for (std::size_t x = 0; x < count; ++x) {
            const Byte topMax = std::max(top[x], top[x + 1]);
            const Byte topMin = std::min(top[x], top[x + 1]);
            const Byte bottomMax = std::max(bottom[x], bottom[x + 1]);
            const Byte bottomMin = std::min(bottom[x], bottom[x + 1]);
            const auto range = static_cast<Byte>(std::max(topMax, bottomMax) - std::min(topMin, bottomMin));
            contrast[x] = std::max(contrast[x], range);
            alongTop[x] = std::max(alongTop[x], static_cast<Byte>(topMax - topMin));
            alongBottom[x] = std::max(alongBottom[x], static_cast<Byte>(bottomMax - bottomMin));
        }
        for (std::size_t x = 0; x <= count; ++x) {
            const auto step = static_cast<Byte>(std::max(top[x], bottom[x]) - std::min(top[x], bottom[x]));
            across[x] = std::max(across[x], step);
        }
    }

    /// The edge bit, and which way it runs where it is straight.
    void classify(Byte* edges, Byte* straight) const {
        const std::size_t count = contrast.size();
        for (std::size_t x = 0; x < count; ++x) {
            const Byte edge = contrast[x] >= edgeContrast ? 1 : 0;
            const Byte flatRows =
                std::max(alongTop[x], alongBottom[x]) <= lineSmoothness ? horizontalEdge : 0;
            const Byte flatColumns = std::max(across[x], across[x + 1]) <= lineSmoothness ? verticalEdge : 0;
            edges[x] = edge;
            straight[x] = static_cast<Byte>((flatRows | flatColumns) & (edge != 0 ? 0xff : 0));
        }
    }

  private:
    std::vector<Byte> contrast;
    std::vector<Byte> alongTop;
    std::vector<Byte> alongBottom;
    std::vector<Byte> across;
};

/// Keeps the marks of one direction only where they form long runs. `step` leads from one to the next.
void keepLongRuns(Byte* marks, int count, std::ptrdiff_t step, Byte direction) {
    int run = 0;
    for (int i = 0; i <= count; ++i) {
        if (i < count && (marks[i * step] & direction) != 0) {
            ++run;
            continue;
        }
        if (run > 0 && run < longLine) {
            for (int k = i - run; k < i; ++k) marks[k * step] &= static_cast<Byte>(~direction);
        }
        run = 0;
    }
}

/// Runs down all columns at once, row by row: walking single columns would miss the cache on every step.
void keepLongColumns(Mask& marks) {
    std::vector<int> runs(static_cast<std::size_t>(marks.width));
    const std::ptrdiff_t step = marks.width;
    for (int y = 0; y <= marks.height; ++y) {
        for (int x = 0; x < marks.width; ++x) {
            int& run = runs[static_cast<std::size_t>(x)];
            if (y < marks.height && (marks.row(y)[x] & verticalEdge) != 0) {
                ++run;
                continue;
            }
            if (run == 0) continue;
            if (run < longLine) {
                Byte* first = marks.row(y - run) + x;
                for (int k = 0; k < run; ++k) first[k * step] &= static_cast<Byte>(~verticalEdge);
            }
            run = 0;
        }
    }
}

}  // namespace

EdgeMasks findEdges(const PixelPlanes& image) {
    if (image.width < 2 || image.height < 2) return {};
    EdgeMasks found{Mask(image.width - 1, image.height - 1), Mask(image.width - 1, image.height - 1)};
    RowMeasure measure(static_cast<std::size_t>(found.shapes.width));
    for (int y = 0; y < found.shapes.height; ++y) {
        measure.start();
        const std::size_t top = image.offset(0, y);
        const std::size_t bottom = image.offset(0, y + 1);
        for (const auto* plane : {&image.red, &image.green, &image.blue}) {
            measure.add(plane->data() + top, plane->data() + bottom);
        }
        measure.classify(found.shapes.row(y), found.lines.row(y));
        keepLongRuns(found.lines.row(y), found.lines.width, 1, horizontalEdge);
    }
    keepLongColumns(found.lines);
    for (std::size_t i = 0; i < found.shapes.bits.size(); ++i) {
        if (found.lines.bits[i] != 0) found.shapes.bits[i] = 0;
    }
    return found;
}

}  // namespace varkel
