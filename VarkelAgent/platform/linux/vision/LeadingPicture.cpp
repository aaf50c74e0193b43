#include "platform/linux/vision/LeadingPicture.h"

#include <algorithm>
#include <cctype>
#include <string_view>
#include <vector>

namespace varkel {

namespace {

/// Parts that lie above or within each other, as one.
struct Stack {
    PixelBox box;
    std::size_t parts = 0;
};

std::vector<Stack> stacksOf(const std::vector<PixelBox>& parts) {
    std::vector<Stack> stacks;
    for (const PixelBox& part : parts) {
        if (stacks.empty() || part.x0 >= stacks.back().box.x1) stacks.push_back({part, 0});
        stacks.back().box = united(stacks.back().box, part);
        ++stacks.back().parts;
    }
    return stacks;
}

/// The height of capitals of all stacks but the first.
int heightOfRest(const std::vector<Stack>& stacks) {
    int top = stacks[1].box.y0;
    std::vector<int> bottoms;
    for (auto stack = stacks.begin() + 1; stack != stacks.end(); ++stack) {
        top = std::min(top, stack->box.y0);
        bottoms.push_back(stack->box.y1);
    }
    const auto middle = bottoms.begin() + static_cast<std::ptrdiff_t>(bottoms.size() / 2);
    std::nth_element(bottoms.begin(), middle, bottoms.end());
    return *middle - top;
}

/// The usual width of the blanks behind the second stack; 0 where there are none.
int usualBlank(const std::vector<Stack>& stacks, int height) {
    std::vector<int> blanks;
    for (std::size_t i = 2; i < stacks.size(); ++i) {
        const int gap = stacks[i].box.x0 - stacks[i - 1].box.x1;
        if (4 * gap >= height) blanks.push_back(gap);
    }
    if (blanks.empty()) return 0;
    const auto middle = blanks.begin() + static_cast<std::ptrdiff_t>(blanks.size() / 2);
    std::nth_element(blanks.begin(), middle, blanks.end());
    return *middle;
}

bool isAlphanumeric(std::string_view text) {
    return std::all_of(text.begin(), text.end(),
                       [](char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0; });
}

}  // namespace

std::optional<DetectedLine> withoutLeadingPicture(const DetectedLine& line) {
    const std::vector<Stack> stacks = stacksOf(line.parts);
    if (stacks.size() < 2) return std::nullopt;
    const PixelBox& first = stacks.front().box;
    const int height = heightOfRest(stacks);
    const int gap = stacks[1].box.x0 - first.x1;
    const bool squarish =
        10 * first.width() >= 6 * first.height() && 10 * first.width() <= 17 * first.height();
    if (!squarish || 10 * first.height() < 7 * height || 2 * gap < height) return std::nullopt;
    if (20 * gap < 27 * usualBlank(stacks, height)) return std::nullopt;

    DetectedLine rest = line;
    rest.parts.erase(rest.parts.begin(),
                     rest.parts.begin() + static_cast<std::ptrdiff_t>(stacks.front().parts));
    rest.box = rest.parts.front();
    for (const PixelBox& part : rest.parts) rest.box = united(rest.box, part);
    return rest;
}

bool beginsWithPicture(const LineReading& whole, const LineReading& rest) {
    constexpr float sure = 0.9F;
    constexpr float surer = 0.04F;
    if (rest.text.empty()) return false;
    const std::string_view word = std::string_view(whole.text).substr(0, whole.text.find(' '));
    const bool isNumber = std::all_of(
        word.begin(), word.end(), [](char c) { return std::isdigit(static_cast<unsigned char>(c)) != 0; });
    if (isNumber || rest.confidence < whole.confidence) return false;
    if (rest.confidence >= whole.confidence + surer) return true;
    // Prompts, comments and quotes begin with these.
    const bool isMark =
        (word == "$" || word == "#" || word == ">" || word == "&") && whole.confidence >= sure;
    return word.size() < whole.text.size() && !isAlphanumeric(word) && !isMark;
}

}  // namespace varkel
