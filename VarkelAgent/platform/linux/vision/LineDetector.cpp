#include "platform/linux/vision/LineDetector.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numeric>

#include "platform/linux/vision/EdgeMask.h"
#include "platform/linux/vision/LineGrouping.h"
#include "platform/linux/vision/ShapeFilter.h"

namespace varkel {

std::vector<DetectedLine> detectLines(const PixelPlanes& image, const Patience& patience) {
    const EdgeMasks edges = findEdges(image);
    const ComponentSet shapes = findComponents(edges.shapes);
    return groupIntoLines(letterLikeShapes(shapes, edges, patience), patience);
}

}  // namespace varkel
