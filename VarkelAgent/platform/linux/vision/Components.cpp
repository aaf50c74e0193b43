#include "platform/linux/vision/Components.h"

#include <algorithm>
#include <cstring>
#include <numeric>

namespace varkel {

namespace {

std::vector<Run> collectRuns(const Mask& mask, std::vector<std::uint32_t>& rowStarts) {
    std::vector<Run> runs;
    rowStarts.reserve(static_cast<std::size_t>(mask.height) + 1);
    for (int y = 0; y < mask.height; ++y) {
        rowStarts.push_back(static_cast<std::uint32_t>(runs.size()));
        const std::uint8_t* row = mask.row(y);
        int x = 0;
        while (x < mask.width) {
            std::uint64_t eight = 0;
            // Most of a screen is empty: step over eight pixels at a time.
            while (x + 8 <= mask.width && (std::memcpy(&eight, row + x, 8), eight == 0)) x += 8;
            while (x < mask.width && row[x] == 0) ++x;
            if (x >= mask.width) break;
            const int start = x;
            while (x < mask.width && row[x] != 0) ++x;
            runs.push_back({y, start, x});
        }
    }
    rowStarts.push_back(static_cast<std::uint32_t>(runs.size()));
    return runs;
}

class DisjointSets {
  public:
    explicit DisjointSets(std::size_t count) : parents_(count) {
        std::iota(parents_.begin(), parents_.end(), 0U);
    }

    std::uint32_t find(std::uint32_t i) {
        while (parents_[i] != i) {
            parents_[i] = parents_[parents_[i]];
            i = parents_[i];
        }
        return i;
    }

    void unite(std::uint32_t a, std::uint32_t b) {
        a = find(a);
        b = find(b);
        // The smaller index wins, so that a root is its set's first run.
        if (a < b) parents_[b] = a;
        if (b < a) parents_[a] = b;
    }

  private:
    std::vector<std::uint32_t> parents_;
};

void uniteRows(const std::vector<Run>& runs, std::uint32_t above, std::uint32_t aboveEnd, std::uint32_t below,
               std::uint32_t belowEnd, DisjointSets& sets) {
    while (above < aboveEnd && below < belowEnd) {
        if (runs[above].x0 <= runs[below].x1 && runs[below].x0 <= runs[above].x1) sets.unite(above, below);
        if (runs[above].x1 < runs[below].x1) {
            ++above;
        } else {
            ++below;
        }
    }
}

}  // namespace

ComponentSet findComponents(const Mask& mask) {
    std::vector<std::uint32_t> rowStarts;
    const std::vector<Run> runs = collectRuns(mask, rowStarts);
    DisjointSets sets(runs.size());
    for (std::size_t y = 1; y + 1 < rowStarts.size(); ++y) {
        uniteRows(runs, rowStarts[y - 1], rowStarts[y], rowStarts[y], rowStarts[y + 1], sets);
    }

    ComponentSet found;
    std::vector<std::uint32_t> indexOfRoot(runs.size());
    for (std::uint32_t i = 0; i < runs.size(); ++i) {
        const std::uint32_t root = sets.find(i);
        const Run& run = runs[i];
        if (root == i) {
            indexOfRoot[i] = static_cast<std::uint32_t>(found.components.size());
            found.components.push_back({{run.x0, run.y, run.x1, run.y + 1}, 0, 0, 0});
        }
        Component& component = found.components[indexOfRoot[root]];
        component.box.x0 = std::min(component.box.x0, run.x0);
        component.box.x1 = std::max(component.box.x1, run.x1);
        component.box.y1 = run.y + 1;
        component.area += run.x1 - run.x0;
        ++component.runCount;
    }

    std::uint32_t start = 0;
    for (Component& component : found.components) {
        component.firstRun = start;
        start += component.runCount;
        component.runCount = 0;
    }
    found.runs.resize(runs.size());
    for (std::uint32_t i = 0; i < runs.size(); ++i) {
        Component& component = found.components[indexOfRoot[sets.find(i)]];
        found.runs[component.firstRun + component.runCount++] = runs[i];
    }
    return found;
}

}  // namespace varkel
