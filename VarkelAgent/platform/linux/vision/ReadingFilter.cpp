#include "platform/linux/vision/ReadingFilter.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <iterator>

namespace varkel {

namespace {

/// What three or four characters need at least, which are mostly texture below; longer texts are rarely noise
/// at all, and one odd word, such as an address, takes their confidence down.
constexpr float leastForFew = 0.5F;
/// For digits and brackets, which textures and icons are hardly read as.
constexpr float leastForClear = 0.2F;
/// For one or two characters, which icons are read as: most of all one, and large ones.
constexpr float leastForTwo = 0.7F;
constexpr float leastForOne = 0.87F;
constexpr float leastForOneLarge = 0.92F;
/// For what was found as large letters, which blots of small ones are at times.
constexpr float leastForLarge = 0.5F;

bool isLarge(const DetectedLine& line) {
    constexpr int large = 20;
    return line.boxInImage().height() >= large;
}

/// What a single character needs where nothing of its size stands in its row.
constexpr float leastForLonely = 0.95F;
/// How surely a line is read that shows the size of letters.
constexpr float leastForLine = 0.8F;

std::size_t characterCount(const std::string& text) {
    return static_cast<std::size_t>(std::count_if(
        text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

bool hasAlphanumeric(const std::string& text) {
    return std::any_of(text.begin(), text.end(),
                       [](char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0; });
}

}  // namespace

bool isText(const LineReading& reading, const DetectedLine& line) {
    if (reading.text.empty()) return false;
    const std::size_t characters = characterCount(reading.text);
    // A window's maximise button: the strokes of an equals sign are farther apart than they are long nowhere.
    if (reading.text == "=" && line.box.height() >= 0.8 * line.box.width()) return false;
    if (line.level > 0 && reading.confidence < leastForLarge) return false;
    if (characters <= 2) {
        const bool brackets = reading.text.find_first_of("{}[]();") != std::string::npos;
        if (line.box.height() > 3 * line.box.width() && !hasAlphanumeric(reading.text) && !brackets)
            return false;
        if (brackets) return reading.confidence >= leastForClear;
        if (characters == 2) return reading.confidence >= leastForTwo;
        return reading.confidence >= (isLarge(line) ? leastForOneLarge : leastForOne);
    }
    const bool isClear = reading.text.find_first_of("0123456789{}[]()<>;") != std::string::npos;
    return characters >= 5 || reading.confidence >= (isClear ? leastForClear : leastForFew);
}

void dropLonelyIcons(std::vector<RecognisedLine>& lines) {
    const auto isMate = [](const RecognisedLine& line, const PixelBox& single) {
        const PixelBox& box = line.box;
        const int middle = single.y0 + single.y1;
        if (characterCount(line.text) >= 3) {
            return line.confidence >= leastForLine && middle >= 2 * box.y0 - 4 && middle <= 2 * box.y1 + 4 &&
                   20 * single.height() >= 11 * box.height() && 4 * single.height() <= 5 * box.height();
        }
        return 3 * std::abs(box.y0 + box.y1 - middle) < 2 * single.height() &&
               std::abs(box.height() - single.height()) <= std::max(1, single.height() / 8);
    };
    const auto isLonely = [&](const RecognisedLine& one) {
        const bool isBracket = one.text.find_first_of("{}[]();") != std::string::npos;
        if (characterCount(one.text) > 1 || isBracket || one.confidence >= leastForLonely) return false;
        return std::none_of(lines.begin(), lines.end(), [&](const RecognisedLine& line) {
            return &line != &one && isMate(line, one.box);
        });
    };
    std::vector<char> lonely;
    std::transform(lines.begin(), lines.end(), std::back_inserter(lonely), isLonely);
    std::size_t next = 0;
    std::erase_if(lines, [&](const RecognisedLine&) { return lonely[next++] != 0; });
}

}  // namespace varkel
