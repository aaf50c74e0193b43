#include "platform/linux/vision/LeadingIcon.h"

#include <algorithm>
#include <cctype>
#include <span>
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

using Stacks = std::span<const Stack>;

/// From the highest top to the usual bottom.
int heightOf(Stacks stacks) {
    int top = stacks.front().box.y0;
    std::vector<int> bottoms;
    for (const Stack& stack : stacks) {
        top = std::min(top, stack.box.y0);
        bottoms.push_back(stack.box.y1);
    }
    const auto middle = bottoms.begin() + static_cast<std::ptrdiff_t>(bottoms.size() / 2);
    std::nth_element(bottoms.begin(), middle, bottoms.end());
    return *middle - top;
}

/// The usual width of the blanks between stacks; 0 where there are none.
int usualBlank(Stacks stacks, int height) {
    std::vector<int> blanks;
    for (std::size_t i = 1; i < stacks.size(); ++i) {
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

std::optional<DetectedLine> withoutLeadingIcon(const DetectedLine& line) {
    // What is left of a frame or an icon after edges that touch lines are taken off is in pieces at times.
    constexpr std::size_t mostPieces = 3;
    const std::vector<Stack> stacks = stacksOf(line.parts);
    PixelBox first;
    std::size_t parts = 0;
    for (std::size_t i = 0; i + 1 < stacks.size() && i < mostPieces; ++i) {
        first = i == 0 ? stacks[0].box : united(first, stacks[i].box);
        parts += stacks[i].parts;
        const Stacks rest = Stacks(stacks).subspan(i + 1);
        const int height = heightOf(rest);
        const int gap = rest.front().box.x0 - first.x1;
        if (10 * first.width() > 17 * std::max(first.height(), height)) return std::nullopt;
        if (2 * gap < height) continue;
        if (20 * gap < 27 * usualBlank(rest, height)) return std::nullopt;

        DetectedLine text = line;
        text.parts.erase(text.parts.begin(), text.parts.begin() + static_cast<std::ptrdiff_t>(parts));
        text.box = text.parts.front();
        for (const PixelBox& part : text.parts) text.box = united(text.box, part);
        return text;
    }
    return std::nullopt;
}

bool beginsWithIcon(const LineReading& whole, const LineReading& rest) {
    constexpr float sure = 0.9F;
    constexpr float surer = 0.04F;
    constexpr float nearly = 0.01F;
    if (rest.text.empty()) return false;
    const std::string_view word = std::string_view(whole.text).substr(0, whole.text.find(' '));
    const bool hasDigit = std::any_of(
        word.begin(), word.end(), [](char c) { return std::isdigit(static_cast<unsigned char>(c)) != 0; });
    if (hasDigit || word == "}" || word == "//" || (word.size() > 2 && isAlphanumeric(word))) return false;
    const bool isLetter =
        word.size() == 1 && isAlphanumeric(word) && word != "A" && word != "I" && word != "a";
    if (isLetter && rest.confidence >= whole.confidence - nearly) return true;
    if (rest.confidence < whole.confidence) return false;
    if (rest.confidence >= whole.confidence + surer) return true;
    // Prompts, comments and quotes begin with these.
    const bool isMark =
        (word == "$" || word == "#" || word == ">" || word == "&") && whole.confidence >= sure;
    return word.size() < whole.text.size() && !isAlphanumeric(word) && !isMark;
}

}  // namespace varkel
