#include "platform/linux/vision/ReadingFilter.h"

#include <algorithm>
#include <cctype>

namespace varkel {

namespace {

/// Three or four characters that are less certain are mostly texture; longer texts are rarely noise at all,
/// and one odd word, such as an address, takes their confidence down.
constexpr float leastConfidence = 0.2F;
/// For one or two characters, which icons are read as.
constexpr float leastForShort = 0.7F;

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
    if (characters <= 2) {
        const bool brackets = reading.text.find_first_of("{}[]()<>;") != std::string::npos;
        if (line.box.height() > 3 * line.box.width() && !hasAlphanumeric(reading.text) && !brackets)
            return false;
        return reading.confidence >= (brackets ? leastConfidence : leastForShort);
    }
    return characters >= 5 || reading.confidence >= leastConfidence;
}

}  // namespace varkel
