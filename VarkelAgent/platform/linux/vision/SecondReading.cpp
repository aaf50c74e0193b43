#include "platform/linux/vision/SecondReading.h"

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

namespace varkel {

namespace {

/// How many bytes of a text are to be put in, left out or changed to make it another.
std::size_t editDistance(const std::string& a, const std::string& b) {
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 1; i <= a.size(); ++i) {
        std::size_t diagonal = std::exchange(row[0], i);
        for (std::size_t k = 1; k <= b.size(); ++k) {
            const std::size_t changed = diagonal + (a[i - 1] == b[k - 1] ? 0 : 1);
            diagonal = std::exchange(row[k], std::min({row[k] + 1, row[k - 1] + 1, changed}));
        }
    }
    return row.back();
}

/// Whether two readings may be of the same text: one or two characters the same, longer texts in part.
bool agree(const std::string& a, const std::string& b) {
    const std::size_t length = std::max(a.size(), b.size());
    if (length <= 2) return a == b;
    const std::size_t alike = length - editDistance(a, b);
    return 10 * alike >= (length <= 4 ? 6 : 3) * length;
}

}  // namespace

LineReading surerReading(LineReading first, LineReading second) {
    constexpr float doubt = 0.2F;
    const bool areAlike = agree(first.text, second.text);
    LineReading surer = second.confidence > first.confidence ? std::move(second) : std::move(first);
    if (!areAlike) surer.confidence = std::max(0.0F, surer.confidence - doubt);
    return surer;
}

}  // namespace varkel
