#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <future>
#include <latch>
#include <thread>

#include "platform/linux/vision/LeadingPicture.h"
#include "platform/linux/vision/TextRecogniser.h"
#include "support/Deadline.h"

namespace varkel {
namespace {

using namespace std::chrono_literals;

/// A white page with `count` rows of four upright strokes; each row differs a little, so that none is
/// remembered.
PixelPlanes strokes(int count) {
    PixelPlanes page;
    page.width = 200;
    page.height = 30 * count + 20;
    const auto size = static_cast<std::size_t>(page.width) * static_cast<std::size_t>(page.height);
    page.red.assign(size, 255);
    for (int row = 0; row < count; ++row) {
        for (int stroke = 0; stroke < 4; ++stroke) {
            for (int y = 0; y < 12; ++y) {
                const int x = 20 + 8 * stroke + (stroke == 3 ? row % 3 : 0) + (stroke == 2 ? row / 3 : 0);
                page.red[page.offset(x, 10 + 30 * row + y)] = 0;
                page.red[page.offset(x + 1, 10 + 30 * row + y)] = 0;
            }
        }
    }
    page.green = page.red;
    page.blue = page.red;
    return page;
}

/// Pale zigzags from row 2 on, with black dots in a single row: a line that is cut down to that row.
void addFlatLine(PixelPlanes& page) {
    const auto set = [&page](int x, int y, std::uint8_t grey) {
        const std::size_t at = page.offset(x, y);
        page.red[at] = page.green[at] = page.blue[at] = grey;
    };
    for (int x = 2; x + 2 < page.width; ++x) {
        const int phase = x % 8;
        if (phase > 5) continue;
        set(x, 2 + (phase < 5 ? phase : 8 - phase), 225);
        if (phase == 2) set(x, 4, 0);
    }
}

/// Reads every line as the same text; counts, and stops where the test wants it to.
struct Script {
    std::atomic<int> made = 0;
    std::atomic<int> reads = 0;
    std::atomic<int> atOnce = 0;
    std::atomic<int> mostAtOnce = 0;
    std::function<void()> onRead = [] {};

    TextRecogniser::MakeLineRecogniser maker() {
        return [this] {
            ++made;
            return std::make_unique<Reader>(*this);
        };
    }

    class Reader final : public LineRecogniser {
      public:
        explicit Reader(Script& script) : script_(script) {}
        LineReading read(const LineImage&) override {
            const int now = ++script_.atOnce;
            int most = script_.mostAtOnce;
            while (now > most && !script_.mostAtOnce.compare_exchange_weak(most, now)) {
            }
            ++script_.reads;
            script_.onRead();
            --script_.atOnce;
            return {"text", 0.9F};
        }

      private:
        Script& script_;
    };
};

TEST(TextRecogniser, ReadsEveryLineOnceAndInOrder) {
    Script script;
    TextRecogniser recogniser(script.maker(), 2);
    const auto lines = recogniser.recognise(strokes(9), {});
    ASSERT_TRUE(lines);
    ASSERT_EQ(lines->size(), 9U);
    EXPECT_EQ(script.reads, 9);
    for (std::size_t i = 1; i < lines->size(); ++i) EXPECT_LT((*lines)[i - 1].box.y0, (*lines)[i].box.y0);
    EXPECT_EQ((*lines)[0].box.x0, 20);
    EXPECT_EQ((*lines)[0].box.height(), 12);
}

TEST(TextRecogniser, MakesAllItsRecognisersWithTheFirstPicture) {
    Script script;
    TextRecogniser recogniser(script.maker(), 2);
    EXPECT_TRUE(recogniser.recognise(strokes(1), {}));
    EXPECT_TRUE(test::eventually([&] { return script.made == 2; }));
}

TEST(TextRecogniser, DoesNotReadAgainWhatItRemembers) {
    Script script;
    TextRecogniser recogniser(script.maker(), 1);
    recogniser.recognise(strokes(5), {});
    const auto again = recogniser.recognise(strokes(6), {});
    ASSERT_TRUE(again);
    EXPECT_EQ(again->size(), 6U);
    EXPECT_EQ(script.reads, 6);
    Script forgetful;
    TextRecogniser plain(forgetful.maker(), 1, 0);
    plain.recognise(strokes(5), {});
    plain.recognise(strokes(5), {});
    EXPECT_EQ(forgetful.reads, 10);
}

TEST(TextRecogniser, LeavesOutALineFarWiderThanHigh) {
    PixelPlanes page;
    page.width = 2000;
    page.height = 60;
    page.red.assign(static_cast<std::size_t>(page.width) * static_cast<std::size_t>(page.height), 255);
    const PixelPlanes usual = strokes(1);
    for (int y = 0; y < usual.height - 20; ++y) {
        const auto row = usual.red.begin() + static_cast<std::ptrdiff_t>(usual.offset(0, y));
        std::copy_n(row, usual.width, page.red.begin() + static_cast<std::ptrdiff_t>(page.offset(0, y + 20)));
    }
    page.green = page.red;
    page.blue = page.red;
    addFlatLine(page);
    ASSERT_EQ(detectLines(Pyramid(page), Patience(20s, {})).size(), 2U);

    Script script;
    TextRecogniser recogniser(script.maker(), 1);
    const auto lines = recogniser.recognise(page, {});
    ASSERT_TRUE(lines);
    ASSERT_EQ(lines->size(), 1U);
    EXPECT_EQ(lines->front().box.height(), 12);
    EXPECT_EQ(script.reads, 1);
}

TEST(TextRecogniser, SeveralPicturesShareTheWorkers) {
    Script script;
    script.onRead = [] { std::this_thread::yield(); };
    TextRecogniser recogniser(script.maker(), 2, 0);
    std::vector<std::future<std::size_t>> pages;
    for (int i = 0; i < 6; ++i) {
        pages.push_back(
            std::async(std::launch::async, [&] { return recogniser.recognise(strokes(12), {})->size(); }));
    }
    for (auto& page : pages) EXPECT_EQ(page.get(), 12U);
    EXPECT_EQ(script.reads, 72);
    EXPECT_LE(script.made, 2);
    EXPECT_LE(script.mostAtOnce, 2);
}

TEST(TextRecogniser, ACancelledPictureStopsAtTheNextLine) {
    Script script;
    std::stop_source cancel;
    script.onRead = [&] { cancel.request_stop(); };
    TextRecogniser recogniser(script.maker(), 1, 0);
    EXPECT_FALSE(recogniser.recognise(strokes(9), cancel.get_token()));
    EXPECT_EQ(script.reads, 1);
    script.onRead = [] {};
    EXPECT_TRUE(recogniser.recognise(strokes(2), {}));
}

TEST(TextRecogniser, APictureThatTakesTooLongIsGivenUp) {
    Script script;
    TextRecogniser impatient(script.maker(), 1, 0, 0ms);
    EXPECT_FALSE(impatient.recognise(strokes(9), {})) << "before its lines are found";
    EXPECT_EQ(script.reads, 0);

    constexpr auto patience = 200ms;
    script.onRead = [end = std::chrono::steady_clock::now() + 2 * patience] {
        std::this_thread::sleep_until(end);
    };
    TextRecogniser recogniser(script.maker(), 1, 0, patience);
    EXPECT_FALSE(recogniser.recognise(strokes(9), {}));
    EXPECT_LE(script.reads, 1) << "the other lines are left";
}

TEST(TextRecogniser, APictureThatWaitsForItsTurnCanBeCancelled) {
    Script script;
    std::latch started(1);
    std::promise<void> release;
    const auto released = release.get_future().share();
    script.onRead = [&] {
        if (script.reads == 1) started.count_down();
        released.wait();
    };
    TextRecogniser recogniser(script.maker(), 1, 0);
    auto first = std::async(std::launch::async, [&] { return recogniser.recognise(strokes(1), {}); });
    started.wait();
    std::stop_source cancel;
    auto second =
        std::async(std::launch::async, [&] { return recogniser.recognise(strokes(3), cancel.get_token()); });
    cancel.request_stop();
    EXPECT_EQ(second.wait_for(20s), std::future_status::ready);
    release.set_value();
    EXPECT_FALSE(second.get());
    EXPECT_TRUE(first.get());
    EXPECT_EQ(script.reads, 1);
}

TEST(TextRecogniser, WithoutAModelItFailsInsteadOfAnsweringNothing) {
    TextRecogniser recogniser([]() -> std::unique_ptr<LineRecogniser> { return nullptr; }, 2);
    EXPECT_FALSE(recogniser.recognise(strokes(3), {}));
    EXPECT_TRUE(recogniser.recognise(strokes(0), {}));
}

TEST(LeadingPicture, IsAsWideAsHighAndApartFromTheWords) {
    // Words of three letters, ten pixels high, with blanks of four.
    const auto lineAfter = [](PixelBox first) {
        DetectedLine line{first, {first}, 0};
        for (const int x : {40, 50, 60, 74, 84, 94, 108, 118, 128}) line.parts.push_back({x, 10, x + 9, 20});
        for (const PixelBox& part : line.parts) line.box = united(line.box, part);
        return line;
    };
    const struct {
        const char* name;
        PixelBox first;
        bool mayBePicture;
    } cases[] = {
        {"an icon", {20, 8, 32, 20}, true},
        {"a letter of a word of its own", {27, 10, 36, 20}, false},
        {"a dash", {20, 14, 32, 16}, false},
        {"a bar", {28, 8, 30, 22}, false},
    };
    for (const auto& [name, first, mayBePicture] : cases) {
        const auto rest = withoutLeadingPicture(lineAfter(first));
        ASSERT_EQ(rest.has_value(), mayBePicture) << name;
        if (!rest) continue;
        EXPECT_EQ(rest->parts.size(), 9U) << name;
        EXPECT_EQ(rest->box, (PixelBox{40, 10, 137, 20})) << name;
    }
    EXPECT_FALSE(withoutLeadingPicture({{20, 8, 32, 20}, {{20, 8, 32, 20}}, 0}));
}

TEST(LeadingPicture, IsToldByItsReading) {
    const struct {
        LineReading whole;
        LineReading rest;
        bool isPicture;
    } cases[] = {
        {{"\u00a9 photo.jpg", 0.9F}, {"photo.jpg", 0.91F}, true},
        {{"Y 12.2 GB", 0.76F}, {"12.2 GB", 0.95F}, true},
        {{"@photo.jpg", 0.6F}, {"photo.jpg", 0.95F}, true},
        {{"\u00a9 photo.jpg", 0.9F}, {"ohoto.jpg", 0.7F}, false},
        {{"77 kB", 0.8F}, {"kB", 0.96F}, false},
        {{"A newer version", 0.95F}, {"newer version", 0.96F}, false},
        {{"$ make test", 0.93F}, {"make test", 0.96F}, false},
        {{"@", 0.3F}, {"", 0}, false},
    };
    for (const auto& [whole, rest, isPicture] : cases) {
        EXPECT_EQ(beginsWithPicture(whole, rest), isPicture) << whole.text;
    }
}

}  // namespace
}  // namespace varkel
