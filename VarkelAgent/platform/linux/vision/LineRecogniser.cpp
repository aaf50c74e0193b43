#include "platform/linux/vision/LineRecogniser.h"

#include <omp.h>
#include <tesseract/baseapi.h>

#include <cstddef>
#include <mutex>
#include <sstream>

namespace varkel {

namespace {

std::string trimmed(const char* text) {
    constexpr const char* blanks = " \n\r\t\f";
    const std::string all = text == nullptr ? "" : text;
    const std::size_t first = all.find_first_not_of(blanks);
    if (first == std::string::npos) return {};
    return all.substr(first, all.find_last_not_of(blanks) - first + 1);
}

/// The mean of the words' confidences, each counting as much as the word is long: one doubtful word makes a
/// doubtful word, not a doubtful line. `percent` holds one number per word and ends with a negative one.
float meanConfidence(const std::string& text, const int* percent) {
    float sum = 0;
    std::size_t characters = 0;
    std::istringstream words(text);
    for (std::string word; percent != nullptr && *percent >= 0 && words >> word; ++percent) {
        sum += static_cast<float>(*percent) * static_cast<float>(word.size());
        characters += word.size();
    }
    return characters == 0 ? 0 : sum / (100.0F * static_cast<float>(characters));
}

class TesseractLineRecogniser final : public LineRecogniser {
  public:
    bool init() {
        // The library's own threads make it several times slower on single lines. The setting is this
        // thread's.
        omp_set_max_active_levels(0);
        // The library keeps some of its settings in globals, which it writes without a lock.
        static std::mutex settings;
        const std::scoped_lock lock(settings);
        // Its messages would land among the agent's own lines.
        api_.SetVariable("debug_file", "/dev/null");
        if (api_.Init(nullptr, "eng", tesseract::OEM_LSTM_ONLY) != 0) return false;
        api_.SetPageSegMode(tesseract::PSM_RAW_LINE);
        // Lines arrive black on white; trying them inverted would double the time for each uncertain one.
        api_.SetVariable("tessedit_do_invert", "0");
        return true;
    }

    LineReading read(const LineImage& line) override {
        api_.SetImage(line.pixels.data(), line.width, line.height, 1, line.width);
        api_.SetSourceResolution(200);
        const std::unique_ptr<char[]> text(api_.GetUTF8Text());
        const std::unique_ptr<int[]> words(api_.AllWordConfidences());
        LineReading reading{trimmed(text.get()), 0};
        reading.confidence = meanConfidence(reading.text, words.get());
        api_.Clear();
        return reading;
    }

  private:
    tesseract::TessBaseAPI api_;
};

}  // namespace

std::unique_ptr<LineRecogniser> LineRecogniser::make() {
    auto recogniser = std::make_unique<TesseractLineRecogniser>();
    if (!recogniser->init()) return nullptr;
    return recogniser;
}

}  // namespace varkel
