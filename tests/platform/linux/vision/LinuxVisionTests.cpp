#include <ZXing/BarcodeFormat.h>
#include <ZXing/BitMatrix.h>
#include <ZXing/MultiFormatWriter.h>
#include <gtest/gtest.h>
#include <pango/pangocairo.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <memory>
#include <set>
#include <utility>

#include "platform/linux/vision/LinuxVision.h"

namespace varkel {
namespace {

struct Size {
    int width = 0;
    int height = 0;
};

/// A picture to draw on, and its bytes as a PNM file.
class Canvas {
  public:
    Canvas(int width, int height, double red, double green, double blue)
        : width_(width),
          height_(height),
          surface_(cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height)),
          cairo_(cairo_create(surface_)) {
        cairo_set_source_rgb(cairo_, red, green, blue);
        cairo_paint(cairo_);
    }
    Canvas(const Canvas&) = delete;
    Canvas& operator=(const Canvas&) = delete;
    ~Canvas() {
        cairo_destroy(cairo_);
        cairo_surface_destroy(surface_);
    }

    /// Writes with the top left corner of the text's box at (x, y); gives the size of the box.
    Size write(const char* text, const char* font, int x, int y, double grey) {
        PangoLayout* layout = pango_cairo_create_layout(cairo_);
        PangoFontDescription* description = pango_font_description_from_string(font);
        pango_layout_set_font_description(layout, description);
        pango_layout_set_text(layout, text, -1);
        cairo_set_source_rgb(cairo_, grey, grey, grey);
        cairo_move_to(cairo_, x, y);
        pango_cairo_show_layout(cairo_, layout);
        Size size;
        pango_layout_get_pixel_size(layout, &size.width, &size.height);
        pango_font_description_free(description);
        g_object_unref(layout);
        return size;
    }

    void frame(double x, double y, double width, double height) {
        cairo_set_source_rgb(cairo_, 0.6, 0.6, 0.6);
        cairo_set_line_width(cairo_, 1);
        cairo_rectangle(cairo_, x + 0.5, y + 0.5, width, height);
        cairo_stroke(cairo_);
    }

    void rectangle(double x, double y, double width, double height, double red, double green, double blue) {
        cairo_set_source_rgb(cairo_, red, green, blue);
        cairo_rectangle(cairo_, x, y, width, height);
        cairo_fill(cairo_);
    }

    /// The outline of a switch with its knob at the left.
    void toggle(double x, double y, double width, double height) {
        const double radius = height / 2;
        const double turn = 2 * std::acos(-1.0);
        const auto paint = [this](double fill) {
            cairo_set_line_width(cairo_, 1);
            cairo_set_source_rgb(cairo_, fill, fill, fill);
            cairo_fill_preserve(cairo_);
            cairo_set_source_rgb(cairo_, 0.7, 0.7, 0.7);
            cairo_stroke(cairo_);
        };
        cairo_new_path(cairo_);
        cairo_arc(cairo_, x + radius, y + radius, radius, turn / 4, 3 * turn / 4);
        cairo_arc(cairo_, x + width - radius, y + radius, radius, -turn / 4, turn / 4);
        cairo_close_path(cairo_);
        paint(0.7);
        cairo_arc(cairo_, x + radius, y + radius, radius - 0.5, 0, turn);
        paint(1);
    }

    void barcode(ZXing::BarcodeFormat format, const std::string& text, int x, int y, int width, int height) {
        const ZXing::BitMatrix code =
            ZXing::MultiFormatWriter(format).setMargin(8).encode(text, width, height);
        for (int row = 0; row < code.height(); ++row) {
            for (int column = 0; column < code.width(); ++column) {
                const double grey = code.get(column, row) ? 0 : 1;
                rectangle(x + column, y + row, 1, 1, grey, grey, grey);
            }
        }
    }

    std::string file() {
        cairo_surface_flush(surface_);
        std::string bytes = "P6 " + std::to_string(width_) + " " + std::to_string(height_) + " 255\n";
        const unsigned char* data = cairo_image_surface_get_data(surface_);
        const int stride = cairo_image_surface_get_stride(surface_);
        for (int y = 0; y < height_; ++y) {
            for (int x = 0; x < width_; ++x) {
                const unsigned char* pixel = data + y * stride + 4 * x;
                for (const int channel : {2, 1, 0}) bytes += static_cast<char>(pixel[channel]);
            }
        }
        return bytes;
    }

  private:
    int width_;
    int height_;
    cairo_surface_t* surface_;
    cairo_t* cairo_;
};

class LinuxVisionTest : public testing::Test {
  protected:
    static void SetUpTestSuite() { shared = std::make_unique<LinuxVision>(); }
    static void TearDownTestSuite() { shared.reset(); }

  public:
    /// One for all cases: loading the model takes a while. Gone before the library's own statics are.
    static inline std::unique_ptr<LinuxVision> shared;
};

LinuxVision& vision() {
    return *LinuxVisionTest::shared;
}

struct Found {
    std::vector<VNRecognizedTextObservation> text;
    std::vector<VNBarcodeObservation> barcodes;
    std::vector<std::string> texts() const {
        std::vector<std::string> all;
        for (const auto& one : text) all.push_back(one.candidates.at(0).string);
        return all;
    }
};

Found look(Canvas& canvas) {
    const auto image =
        vision().CGImageSourceCreateImageAtIndex(vision().CGImageSourceCreateWithData(canvas.file()), 0);
    VNRecognizeTextRequest text;
    VNDetectBarcodesRequest barcodes;
    const std::array<VNRequest, 2> requests{&text, &barcodes};
    EXPECT_TRUE(vision().performRequests(image, requests, {}));
    return {*text.results, *barcodes.results};
}

using Texts = std::vector<std::string>;

TEST_F(LinuxVisionTest, ReadsDarkOnLightAndLightOnDark) {
    for (const bool dark : {false, true}) {
        const double ground = dark ? 0.12 : 1;
        Canvas canvas(500, 140, ground, ground, ground);
        canvas.write("Recent documents", "DejaVu Sans 11", 20, 20, dark ? 0.9 : 0.1);
        canvas.write("Open the file manager", "DejaVu Sans 10", 20, 60, dark ? 0.75 : 0.3);
        canvas.write("Cancel", "DejaVu Sans 10", 400, 60, dark ? 0.9 : 0.1);
        EXPECT_EQ(look(canvas).texts(), (Texts{"Recent documents", "Open the file manager", "Cancel"}))
            << dark;
    }
}

TEST_F(LinuxVisionTest, FindsTheTextOfAButtonWithoutItsFrame) {
    Canvas canvas(200, 100, 0.97, 0.97, 0.97);
    canvas.frame(40, 30, 90, 32);
    canvas.write("Save", "DejaVu Sans 11", 66, 36, 0.1);
    const Found found = look(canvas);
    ASSERT_EQ(found.texts(), Texts{"Save"});
    const CGRect& box = found.text[0].boundingBox;
    EXPECT_NEAR(box.x * 200, 66, 3);
    EXPECT_NEAR(box.width * 200, 34, 6);
    // From the bottom: the letters stand between rows 36 and 54 of 100.
    EXPECT_GT(box.y * 100, 44);
    EXPECT_LT((box.y + box.height) * 100, 65);
    EXPECT_GT(found.text[0].candidates[0].confidence, 0.5F);
    EXPECT_LE(found.text[0].candidates[0].confidence, 1.0F);
}

TEST_F(LinuxVisionTest, ReadsTextSelectedInATightRectangle) {
    for (const int padding : {0, 1, 2, 3}) {
        for (const char* text : {"comboboxentry", "Quarterly report"}) {
            Canvas canvas(400, 80, 1, 1, 1);
            canvas.frame(20, 18, 250, 36);
            canvas.frame(21, 19, 248, 34);
            const Size size = canvas.write(text, "DejaVu Sans 10", 30, 28, 1);
            canvas.rectangle(30 - padding, 28, size.width + 2 * padding, size.height, 0.2, 0.52, 0.89);
            canvas.write(text, "DejaVu Sans 10", 30, 28, 1);
            EXPECT_EQ(look(canvas).texts(), Texts{text}) << padding;
        }
    }
}

TEST_F(LinuxVisionTest, ReadsSingleLinesToTheLetter) {
    // Zeros and ones that their shapes tell apart, capitals that their heights do, and letters that touch.
    const std::pair<const char*, Texts> cases[] = {
        {"DejaVu Sans Mono 11", {"total 10010 bytes in main.cpp:101"}},
        {"DejaVu Sans 10",
         {"page 1", "page 2", "page 3", "Page 2", "save", "save as", "Save as", "liam.gallagher@mail1.com"}},
        {"DejaVu Sans 8.5",
         {"page 1", "page 2", "page 3", "Page 2", "save", "save as", "Save as", "jonas.lindqvist@mail4.com",
          "invoice#4471.pdf"}},
        // Its letters stand on a grid by chance.
        {"DejaVu Serif 10.5", {"Save the changes?"}},
        {"DejaVu Sans Bold 13.5", {"Go to page 36 of 80"}}};
    for (const auto& [font, texts] : cases) {
        for (const std::string& text : texts) {
            Canvas canvas(400, 50, 1, 1, 1);
            canvas.write(text.c_str(), font, 20, 15, 0.1);
            EXPECT_EQ(look(canvas).texts(), Texts{text}) << font;
        }
    }
}

TEST_F(LinuxVisionTest, ReadsLettersOfAnySizeBesideSmallOnes) {
    const char* title = "Alpha seven";
    const char* small = "Installation needs about 1.5 GB of disk space.";
    for (const char* face : {"DejaVu Sans", "DejaVu Sans Bold", "DejaVu Serif"}) {
        for (const int pixels : {20, 27, 40, 60, 96, 144}) {
            Canvas canvas(1200, 260, 1, 1, 1);
            const std::string font = std::string(face) + ' ' + std::to_string(pixels * 72 / 96.0);
            const Size size = canvas.write(title, font.c_str(), 20, 10, 0.1);
            canvas.write(small, "DejaVu Sans 10", 20, 15 + size.height, 0.1);
            const Found found = look(canvas);
            ASSERT_EQ(found.texts(), (Texts{title, small})) << font;
            const CGRect& box = found.text[0].boundingBox;
            EXPECT_NEAR(box.width * 1200, size.width, 0.1 * size.width) << font;
            EXPECT_NEAR(box.height * 260, 0.94 * pixels, 0.12 * pixels) << font;
        }
    }
}

TEST_F(LinuxVisionTest, PartsCellsAtRulesHoweverPale) {
    Canvas canvas(300, 60, 1, 1, 1);
    const int width = canvas.write("1,749.00", "DejaVu Sans 10", 20, 20, 0.1).width;
    canvas.rectangle(20 + width + 4, 0, 1, 60, 0.94, 0.94, 0.94);
    canvas.write("72%", "DejaVu Sans 10", 20 + width + 9, 20, 0.1);
    EXPECT_EQ(look(canvas).texts(), (Texts{"1,749.00", "72%"}));
}

TEST_F(LinuxVisionTest, LeavesSwitchesOut) {
    Canvas canvas(300, 260, 1, 1, 1);
    int y = 20;
    for (const int height : {16, 18, 20, 22, 26}) {
        canvas.toggle(200.5, y + 0.5, std::floor(1.9 * height), height);
        y += 48;
    }
    canvas.write("Wireless", "DejaVu Sans 10", 20, 20, 0.1);
    EXPECT_EQ(look(canvas).texts(), Texts{"Wireless"});
}

TEST_F(LinuxVisionTest, CutsALongEntryFromTheNextColumn) {
    Canvas canvas(400, 140, 1, 1, 1);
    int y = 10;
    for (const auto& [first, second] : std::vector<std::pair<const char*, const char*>>{
             {"Name", "Nick"}, {"Otto", "chaotic"}, {"Benjamin", "Company"}, {"Orville", "Baker"}}) {
        canvas.write(first, "DejaVu Sans 10", 20, y, 0.1);
        canvas.write(second, "DejaVu Sans 10", 92, y, 0.1);
        y += 24;
    }
    EXPECT_EQ(look(canvas).texts(),
              (Texts{"Name", "Nick", "Otto", "chaotic", "Benjamin", "Company", "Orville", "Baker"}));
    // Without rows that show the column it is one line.
    Canvas alone(400, 60, 1, 1, 1);
    alone.write("Benjamin", "DejaVu Sans 10", 20, 20, 0.1);
    alone.write("Company", "DejaVu Sans 10", 92, 20, 0.1);
    EXPECT_EQ(look(alone).texts(), Texts{"Benjamin Company"});
}

TEST_F(LinuxVisionTest, FindsNothingOnAnEmptyPicture) {
    Canvas canvas(300, 200, 0.2, 0.4, 0.6);
    const Found found = look(canvas);
    EXPECT_TRUE(found.text.empty());
    EXPECT_TRUE(found.barcodes.empty());
}

TEST_F(LinuxVisionTest, FindsSeveralBarcodesOfDifferentKinds) {
    Canvas canvas(900, 400, 1, 1, 1);
    canvas.barcode(ZXing::BarcodeFormat::QRCode, "https://example.net/door?id=7", 20, 20, 200, 200);
    canvas.barcode(ZXing::BarcodeFormat::DataMatrix, "PART 4711", 300, 20, 160, 160);
    canvas.barcode(ZXing::BarcodeFormat::Code128, "CRATE-0042", 520, 60, 320, 80);
    const Found found = look(canvas);
    std::map<std::string, CGRect> codes;
    for (const auto& code : found.barcodes) {
        EXPECT_GT(code.confidence, 0.0F);
        codes[code.payloadStringValue.value_or("none")] = code.boundingBox;
    }
    ASSERT_TRUE(codes.contains("https://example.net/door?id=7"));
    ASSERT_TRUE(codes.contains("PART 4711"));
    ASSERT_TRUE(codes.contains("CRATE-0042"));
    EXPECT_EQ(codes.size(), 3U);
    const CGRect& box = codes["https://example.net/door?id=7"];
    EXPECT_GT(box.x * 900, 19);
    EXPECT_LT((box.x + box.width) * 900, 221);
    EXPECT_GT(box.width * 900, 100);
    EXPECT_GT(box.y * 400, 400 - 221);
    EXPECT_LT((box.y + box.height) * 400, 400 - 19);
}

TEST_F(LinuxVisionTest, FindsMatrixCodesOfAnySizeAnywhere) {
    for (const int size : {100, 130, 160, 200}) {
        for (const int x : {10, 300, 600}) {
            Canvas canvas(900, 500, 0.9, 0.9, 0.95);
            canvas.write("Scan the code on your parcel", "DejaVu Sans 11", 20, 10, 0.1);
            canvas.barcode(ZXing::BarcodeFormat::DataMatrix, "PART 4711", x, 60, size, size);
            canvas.barcode(ZXing::BarcodeFormat::Aztec, "GATE B12", x, 280, size, size);
            std::set<std::string> codes;
            for (const auto& code : look(canvas).barcodes)
                codes.insert(code.payloadStringValue.value_or("none"));
            EXPECT_EQ(codes, (std::set<std::string>{"PART 4711", "GATE B12"})) << size << " at " << x;
        }
    }
}

TEST_F(LinuxVisionTest, RefusesWhatIsNoImageOrNotTheFirst) {
    EXPECT_FALSE(vision().CGImageSourceCreateWithData(""));
    const auto source = vision().CGImageSourceCreateWithData("some bytes of no format");
    EXPECT_FALSE(vision().CGImageSourceCreateImageAtIndex(source, 0));
    Canvas canvas(20, 20, 1, 1, 1);
    EXPECT_FALSE(
        vision().CGImageSourceCreateImageAtIndex(vision().CGImageSourceCreateWithData(canvas.file()), 1));
    EXPECT_FALSE(vision().performRequests(nullptr, {}, {}));
}

}  // namespace
}  // namespace varkel
