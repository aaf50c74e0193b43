#include "platform/linux/vision/LineRecogniser.h"

#include <omp.h>
#include <tesseract/baseapi.h>

#include <algorithm>
#include <cstdlib>

namespace varkel {

namespace {

std::string trimmed(const char* text) {
    constexpr const char* blanks = " \n\r\t\f";
    const std::string all = text == nullptr ? "" : text;
    const std::size_t first = all.find_first_not_of(blanks);
    if (first == std::string::npos) return {};
    return all.substr(first, all.find_last_not_of(blanks) - first + 1);
}

class TesseractLineRecogniser final : public LineRecogniser {
  public:
    bool init() {
        // The library's own threads make it several times slower on single lines. The setting is this
        // thread's.
        omp_set_max_active_levels(0);
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
        int least = 101;
        for (const int* word = words.get(); word != nullptr && *word >= 0; ++word)
            least = std::min(least, *word);
        if (least <= 100) reading.confidence = static_cast<float>(least) / 100;
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
