#include <ZXing/BarcodeFormat.h>
#include <ZXing/BitMatrix.h>
#include <ZXing/MultiFormatWriter.h>
#include <gmock/gmock.h>

#include <array>
#include <boost/json.hpp>
#include <cmath>

#include "platform/linux/vision/LinuxVision.h"
#include "support/TemporaryFolder.h"

namespace varkel {
namespace {

/// A white image with barcodes, and its bytes as a PNM file.
class Canvas {
  public:
    Canvas(std::size_t width, std::size_t height) : width_(width), grey_(width * height, '\xFF') {}

    void barcode(ZXing::BarcodeFormat format, const std::string& text, std::size_t x, std::size_t y,
                 int width, int height) {
        const ZXing::BitMatrix code =
            ZXing::MultiFormatWriter(format).setMargin(8).encode(text, width, height);
        for (int row = 0; row < code.height(); ++row) {
            for (int column = 0; column < code.width(); ++column) {
                if (code.get(column, row))
                    grey_[(y + static_cast<std::size_t>(row)) * width_ + x +
                          static_cast<std::size_t>(column)] = 0;
            }
        }
    }

    std::string file() const {
        return "P5 " + std::to_string(width_) + " " + std::to_string(grey_.size() / width_) + " 255\n" +
               grey_;
    }

  private:
    std::size_t width_;
    std::string grey_;
};

class LinuxVisionTest : public testing::Test {
  protected:
    static void SetUpTestSuite() { shared = std::make_unique<LinuxVision>(); }
    static void TearDownTestSuite() { shared.reset(); }

    struct Found {
        std::vector<VNRecognizedTextObservation> text;
        std::vector<VNBarcodeObservation> barcodes;
    };

    static Found look(std::string file) {
        const auto image =
            shared->CGImageSourceCreateImageAtIndex(shared->CGImageSourceCreateWithData(std::move(file)), 0);
        VNRecognizeTextRequest text;
        VNDetectBarcodesRequest barcodes;
        const std::array<VNRequest, 2> requests{&text, &barcodes};
        EXPECT_TRUE(shared->performRequests(image, requests, {}));
        return {*text.results, *barcodes.results};
    }

    /// One for all cases: loading the model takes a while. Gone before the library's own statics are.
    static inline std::unique_ptr<LinuxVision> shared;
};

/// Whether the ink of a piece of text, in pixels from the top left of an image of 1280 by 900, is where a
/// line was found, in shares from the bottom.
bool isAt(const CGRect& found, const boost::json::array& ink) {
    const auto at = [&](std::size_t index) { return ink[index].to_number<double>(); };
    const double top = (1 - found.y - found.height) * 900;
    return std::abs(found.x * 1280 - at(0)) <= 3 && std::abs(top - at(1)) <= 3 &&
           std::abs(found.width * 1280 - at(2)) <= 6 && std::abs(found.height * 900 - at(3)) <= 6;
}

TEST_F(LinuxVisionTest, ReadsImagesOfScreensToTheLetterAndWhereItIs) {
    // What of each image was read when this was written down; more is welcome.
    const std::pair<const char*, int> images[] = {
        {"form_dark", 46}, {"settings_dark", 45}, {"terminal", 24}, {"files_light", 116}, {"gtk_widgets", 71},
    };
    for (const auto& [name, right] : images) {
        const std::string corpus = VARKEL_SCREENS;
        const Found found = look(test::contents(corpus + "/images/" + name + ".png"));
        std::multimap<std::string, CGRect> lines;
        for (const auto& line : found.text) lines.emplace(line.candidates.at(0).string, line.boundingBox);
        const auto truth = boost::json::parse(test::contents(corpus + "/truth/" + name + ".json")).as_array();
        int matching = 0;
        for (const auto& piece : truth) {
            const auto [begin, end] = lines.equal_range(std::string(piece.at("text").as_string()));
            matching += std::any_of(
                begin, end, [&](const auto& line) { return isAt(line.second, piece.at("ink").as_array()); });
        }
        EXPECT_GE(matching, right) << name << ", of " << truth.size();
        EXPECT_TRUE(found.barcodes.empty()) << name;
    }
}

TEST_F(LinuxVisionTest, FindsSeveralBarcodesOfDifferentKinds) {
    Canvas canvas(900, 400);
    canvas.barcode(ZXing::BarcodeFormat::QRCode, "https://example.net/door?id=7", 20, 20, 200, 200);
    canvas.barcode(ZXing::BarcodeFormat::DataMatrix, "PART 4711", 300, 20, 160, 160);
    canvas.barcode(ZXing::BarcodeFormat::Code128, "CRATE-0042", 520, 60, 320, 80);
    std::map<std::string, CGRect> codes;
    for (const auto& code : look(canvas.file()).barcodes) {
        EXPECT_GT(code.confidence, 0.0F);
        codes[code.payloadStringValue.value_or("none")] = code.boundingBox;
    }
    ASSERT_TRUE(codes.contains("https://example.net/door?id=7"));
    EXPECT_TRUE(codes.contains("PART 4711"));
    EXPECT_TRUE(codes.contains("CRATE-0042"));
    EXPECT_EQ(codes.size(), 3U);
    const CGRect& box = codes["https://example.net/door?id=7"];
    EXPECT_GT(box.x * 900, 19);
    EXPECT_LT((box.x + box.width) * 900, 221);
    EXPECT_GT(box.width * 900, 100);
    EXPECT_GT(box.y * 400, 400 - 221);
    EXPECT_LT((box.y + box.height) * 400, 400 - 19);
}

TEST_F(LinuxVisionTest, FindsMatrixCodesOfAnySizeAnywhere) {
    for (const int size : {100, 200}) {
        for (const std::size_t x : {10U, 600U}) {
            Canvas canvas(900, 500);
            canvas.barcode(ZXing::BarcodeFormat::DataMatrix, "PART 4711", x, 60, size, size);
            canvas.barcode(ZXing::BarcodeFormat::Aztec, "GATE B12", x, 280, size, size);
            std::set<std::string> codes;
            for (const auto& code : look(canvas.file()).barcodes)
                codes.insert(code.payloadStringValue.value_or("none"));
            EXPECT_THAT(codes, testing::ElementsAre("GATE B12", "PART 4711")) << size << " at " << x;
        }
    }
}

TEST_F(LinuxVisionTest, RefusesWhatIsNoImageOrNotTheFirst) {
    EXPECT_FALSE(shared->CGImageSourceCreateWithData(""));
    const auto source = shared->CGImageSourceCreateWithData("some bytes of no format");
    EXPECT_FALSE(shared->CGImageSourceCreateImageAtIndex(source, 0));
    const auto good = shared->CGImageSourceCreateWithData(Canvas(20, 20).file());
    EXPECT_FALSE(shared->CGImageSourceCreateImageAtIndex(good, 1));
    EXPECT_FALSE(shared->performRequests(nullptr, {}, {}));
}

}  // namespace
}  // namespace varkel
