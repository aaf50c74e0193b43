#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <latch>
#include <thread>

#include "platform/linux/vision/LeadingIcon.h"
#include "platform/linux/vision/ReadingFilter.h"
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

/// Reads every line as the same text; counts, and stops where the test wants it to.
struct Script {
    std::atomic<int> made = 0;
    std::atomic<int> reads = 0;
    std::atomic<int> atOnce = 0;
    std::atomic<int> mostAtOnce = 0;
    float confidence = 0.9F;
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
            return {"text", script_.confidence};
        }

      private:
        Script& script_;
    };
};

TEST(TextRecogniser, ReadsEveryLineOnceAndInOrder) {
    Script script;
    // Doubtful lines are not read once more for standing on the white copy, too.
    script.confidence = 0.75F;
    TextRecogniser recogniser(script.maker(), 2, 0);
    const auto lines = recogniser.recognise(strokes(9), {});
    ASSERT_TRUE(lines);
    ASSERT_EQ(lines->size(), 9U);
    EXPECT_EQ(script.reads, 9);
    for (std::size_t i = 1; i < lines->size(); ++i) EXPECT_LT((*lines)[i - 1].box.y0, (*lines)[i].box.y0);
    EXPECT_EQ((*lines)[0].box.x0, 20);
    EXPECT_EQ((*lines)[0].box.height(), 12);
}

TEST(TextRecogniser, FindsWhiteLettersOnAPhotograph) {
    PixelPlanes page = strokes(4);
    std::uint32_t noise = 1;
    for (std::size_t i = 0; i < page.red.size(); ++i) {
        const bool isLetter = page.red[i] == 0;
        for (auto* plane : {&page.red, &page.green, &page.blue}) {
            noise = noise * 1664525U + 1013904223U;
            (*plane)[i] = isLetter ? 255 : static_cast<std::uint8_t>(noise >> 25);
        }
    }
    Script script;
    TextRecogniser recogniser(script.maker(), 1);
    const auto lines = recogniser.recognise(page, {});
    ASSERT_TRUE(lines);
    ASSERT_EQ(lines->size(), 4U);
    EXPECT_EQ((*lines)[0].box, (PixelBox{20, 10, 46, 22}));
}

TEST(LeadingIcon, IsTakenOffByWhatItWasReadAs) {
    const std::tuple<LineReading, LineReading, bool> cases[] = {
        {{"O Headings", 0.95F}, {"Headings", 0.95F}, true},
        {{"- Back", 0.9F}, {"Back", 0.96F}, true},
        {{"vy Next", 0.78F}, {"Next", 0.96F}, true},
        {{"A newer version", 0.9F}, {"newer version", 0.91F}, false},
        {{"1.3 KB", 0.8F}, {"KB", 0.96F}, false},
        {{"} // main", 0.85F}, {"// main", 0.95F}, false},
        {{"All invoices", 0.9F}, {"invoices", 0.96F}, false},
        {{"$ make", 0.92F}, {"make", 0.95F}, false},
        {{"x Open", 0.95F}, {"Open", 0.8F}, false},
    };
    for (const auto& [whole, rest, isIcon] : cases) {
        EXPECT_EQ(beginsWithIcon(whole, rest), isIcon) << whole.text;
    }
}

TEST(LeadingIcon, MayBeInPiecesButNotABlankAway) {
    const auto line = [](std::vector<PixelBox> parts) {
        DetectedLine made{parts.front(), parts};
        for (const PixelBox& part : parts) made.box = united(made.box, part);
        return made;
    };
    const std::vector<PixelBox> word{{40, 10, 46, 20}, {48, 10, 54, 20}, {56, 10, 62, 20}};
    std::vector<PixelBox> parts{{20, 10, 21, 20}, {23, 10, 28, 11}};
    parts.insert(parts.end(), word.begin(), word.end());
    const auto rest = withoutLeadingIcon(line(parts));
    ASSERT_TRUE(rest);
    EXPECT_EQ(rest->parts, word);
    parts[1] = {33, 10, 38, 20};
    parts.erase(parts.begin());
    EXPECT_FALSE(withoutLeadingIcon(line(parts)));
}

TEST(ReadingFilter, TakesSingleCharactersForIconsWhereNothingOfTheirSizeStandsInTheirRow) {
    const RecognisedLine label{{40, 10, 90, 22}, "Search", 0.95F};
    struct Case {
        const char* what;
        RecognisedLine one;
        bool stays;
    };
    const std::vector<Case> cases{
        {"as high as the label", {{10, 12, 18, 20}, "Q", 0.93F}, true},
        {"twice as high", {{10, 6, 34, 30}, "Q", 0.93F}, false},
        {"twice as high, but read surely", {{10, 6, 34, 30}, "7", 0.96F}, true},
        {"in another row", {{10, 42, 18, 50}, "Q", 0.93F}, false},
        {"a bracket on a row of its own", {{10, 42, 16, 54}, "}", 0.6F}, true},
    };
    for (const Case& one : cases) {
        std::vector<RecognisedLine> lines{label, one.one};
        dropLonelyIcons(lines);
        EXPECT_EQ(lines.size(), one.stays ? 2U : 1U) << one.what;
    }
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

TEST(TextRecogniser, SeveralImagesShareTheWorkers) {
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

TEST(TextRecogniser, AnImageThatTakesTooLongIsGivenUp) {
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

TEST(TextRecogniser, AnImageThatWaitsForItsTurnCanBeCancelled) {
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

}  // namespace
}  // namespace varkel
