#include "platform/linux/vision/TextRecogniser.h"

#include <algorithm>
#include <cstdint>
#include <exception>
#include <system_error>
#include <utility>

#include "platform/linux/vision/CancellableDeadline.h"
#include "platform/linux/vision/LeadingIcon.h"
#include "platform/linux/vision/LineDetector.h"
#include "platform/linux/vision/LineMemory.h"
#include "platform/linux/vision/ReadingFilter.h"
#include "platform/linux/vision/ReadingRepair.h"
#include "platform/linux/vision/SecondReading.h"
#include "platform/linux/vision/WhitePlane.h"

namespace varkel {

namespace {

/// More workers than this gain little, and each holds a model of 14 to 18 MiB.
constexpr unsigned mostWorkers = 4;
/// Readings above this are nearly always right.
constexpr float doubtful = 0.8F;
/// Readings below this are compared with another one.
constexpr float veryDoubtful = 0.7F;
/// Tesseract was seen to read nothing on images of this width and more.
constexpr int tooWide = 32767;
/// For what was found among the white of an image only.
constexpr float leastForWhite = 0.75F;
constexpr std::size_t leastWhite = 3;

unsigned usualWorkers() {
    return std::clamp(std::thread::hardware_concurrency(), 1U, mostWorkers);
}

/// Rows from the top, each from the left. Lines share a row with the row's first line as long as their
/// middles lie within it.
void sortForReading(std::vector<RecognisedLine>& lines) {
    const auto middle = [](const RecognisedLine& line) { return line.box.y0 + line.box.y1; };
    const auto left = [](const RecognisedLine& line) { return line.box.x0; };
    std::stable_sort(lines.begin(), lines.end(),
                     [&](const RecognisedLine& a, const RecognisedLine& b) { return middle(a) < middle(b); });
    for (auto row = lines.begin(); row != lines.end();) {
        const PixelBox first = row->box;
        auto end = std::find_if(row, lines.end(), [&](const RecognisedLine& line) {
            return middle(line) > 2 * first.y1 - first.height() / 2;
        });
        if (end == row) ++end;
        std::stable_sort(row, end,
                         [&](const RecognisedLine& a, const RecognisedLine& b) { return left(a) < left(b); });
        row = end;
    }
}

/// How much of a box lies within another, 0 to 1.
double shareWithin(const PixelBox& box, const PixelBox& other) {
    const double width = std::min(box.x1, other.x1) - std::max(box.x0, other.x0);
    const double height = std::min(box.y1, other.y1) - std::max(box.y0, other.y0);
    if (width <= 0 || height <= 0) return 0;
    return width * height / (static_cast<double>(box.width()) * box.height());
}

/// Whether another reading of what the white copy has here would hardly bring more: a line that has the same
/// place in both stands on no photograph.
bool isReadAlready(const PixelBox& box, const RecognisedLine& line) {
    constexpr double same = 0.85;
    const double share = shareWithin(box, line.box);
    return (share > 0.5 && line.confidence >= doubtful) || std::min(share, shareWithin(line.box, box)) > same;
}

/// Puts a line in the place of what was read there less surely, or only in part.
void takeIfBetter(RecognisedLine line, std::vector<RecognisedLine>& lines) {
    constexpr float surer = 0.1F;
    float confidence = 0;
    PixelBox all = line.box;
    int covered = 0;
    const auto isHere = [&](const RecognisedLine& one) {
        return std::max(shareWithin(one.box, line.box), shareWithin(line.box, one.box)) > 0.5;
    };
    for (const RecognisedLine& one : lines) {
        if (!isHere(one)) continue;
        all = united(all, one.box);
        covered += one.box.width();
        confidence = std::max(confidence, one.confidence);
    }
    const bool isWhole = 10 * line.box.width() >= 9 * all.width();
    const bool isLonger = 5 * line.box.width() >= 6 * covered;
    if (covered > 0 && !(isWhole && (isLonger || line.confidence >= confidence + surer))) return;
    std::erase_if(lines, isHere);
    lines.push_back(std::move(line));
}

}  // namespace

/// An image whose lines are being read. Guarded by the recogniser's mutex, apart from the constant members
/// and each line and its reading, which belong to the worker that took it.
struct TextRecogniser::Page {
    Page(const Pyramid& ofImage, std::vector<DetectedLine> ofLines, const CancellableDeadline& ofCaller)
        : image(ofImage), deadline(ofCaller), lines(std::move(ofLines)), readings(lines.size()) {}

    const Pyramid& image;
    const CancellableDeadline& deadline;
    std::vector<DetectedLine> lines;
    std::vector<LineReading> readings;
    std::size_t next = 0;
    std::size_t busy = 0;
    bool failed = false;
    std::condition_variable_any finished;

    bool isTaken() const { return failed || next == lines.size() || deadline.passed(); }
};

TextRecogniser::TextRecogniser(MakeLineRecogniser make, unsigned workers, std::size_t remembered,
                               std::chrono::milliseconds timeLimit)
    : make_(std::move(make)),
      workerCount_(workers > 0 ? workers : usualWorkers()),
      timeLimit_(timeLimit),
      memory_(remembered) {}

TextRecogniser::~TextRecogniser() {
    for (std::jthread& worker : workers_) worker.request_stop();
}

std::optional<std::vector<RecognisedLine>> TextRecogniser::recognise(const PixelPlanes& image,
                                                                     const std::stop_token& cancelled) {
    const CancellableDeadline deadline(timeLimit_, cancelled);
    try {
        const Pyramid pyramid(image);
        auto found = readLines(pyramid, detectLines(pyramid, deadline), deadline, cancelled);
        if (!found || !readWhiteLines(image, *found, deadline, cancelled)) return std::nullopt;
        dropLonelyIcons(*found);
        sortForReading(*found);
        return found;
    } catch (const CancellableDeadline::Passed&) {
        return std::nullopt;
    }
}

bool TextRecogniser::readWhiteLines(const PixelPlanes& image, std::vector<RecognisedLine>& found,
                                    const CancellableDeadline& deadline, const std::stop_token& cancelled) {
    const PixelPlanes white = whiteOf(image);
    const Pyramid pyramid(white);
    std::vector<DetectedLine> lines = detectLines(pyramid, deadline);
    std::erase_if(lines, [&](const DetectedLine& line) {
        return std::any_of(found.begin(), found.end(),
                           [&](const RecognisedLine& one) { return isReadAlready(line.boxInImage(), one); });
    });
    auto more = readLines(pyramid, std::move(lines), deadline, cancelled);
    if (!more) return false;
    for (RecognisedLine& line : *more) {
        if (line.confidence >= leastForWhite && line.text.size() >= leastWhite)
            takeIfBetter(std::move(line), found);
    }
    return true;
}

std::optional<std::vector<RecognisedLine>> TextRecogniser::readLines(const Pyramid& pyramid,
                                                                     std::vector<DetectedLine> lines,
                                                                     const CancellableDeadline& deadline,
                                                                     const std::stop_token& cancelled) {
    const auto page = std::make_shared<Page>(pyramid, std::move(lines), deadline);
    if (!page->lines.empty()) {
        std::unique_lock lock(mutex_);
        if (!startWorkers()) return std::nullopt;
        pages_.push_back(page);
        work_.notify_all();
        const auto isDone = [&] { return page->isTaken() && page->busy == 0; };
        // The first wait ends early when the deadline has passed, the second waits for the lines under way.
        page->finished.wait_for(lock, cancelled, deadline.left(), isDone);
        page->finished.wait(lock, isDone);
        std::erase(pages_, page);
    }
    if (page->failed || page->next < page->lines.size()) return std::nullopt;

    std::vector<RecognisedLine> found;
    for (std::size_t i = 0; i < page->lines.size(); ++i) {
        LineReading& reading = page->readings[i];
        if (!isText(reading, page->lines[i])) continue;
        found.push_back({page->lines[i].boxInImage(), std::move(reading.text), reading.confidence});
    }
    return found;
}

bool TextRecogniser::startWorkers() {
    try {
        while (workers_.size() < workerCount_) {
            workers_.emplace_back([this](const std::stop_token& ending) { serve(ending); });
        }
    } catch (const std::system_error&) {
        // Fewer threads than wanted do as well.
    }
    return !workers_.empty();
}

std::shared_ptr<TextRecogniser::Page> TextRecogniser::nextPage(const std::stop_token& ending) {
    std::unique_lock lock(mutex_);
    std::shared_ptr<Page> page;
    const bool found = work_.wait(lock, ending, [&] {
        const auto open =
            std::find_if(pages_.begin(), pages_.end(), [](const auto& p) { return !p->isTaken(); });
        if (open == pages_.end()) return false;
        page = *open;
        // To the end of the queue: pages take turns.
        pages_.erase(open);
        pages_.push_back(page);
        return true;
    });
    if (!found) return nullptr;
    ++page->busy;
    return page;
}

std::unique_ptr<LineRecogniser> TextRecogniser::makeOrNull() const {
    try {
        return make_();
    } catch (const std::exception&) {
        return nullptr;
    }
}

LineReading TextRecogniser::readLine(LineRecogniser& recogniser, const Pyramid& pyramid, DetectedLine& line) {
    LineReading whole = readCut(recogniser, pyramid.at(line.level), line);
    auto rest = withoutLeadingIcon(line);
    if (!rest) return whole;
    LineReading other = readCut(recogniser, pyramid.at(line.level), *rest);
    if (!beginsWithIcon(whole, other)) return whole;
    line = *std::move(rest);
    return other;
}

LineReading TextRecogniser::readCut(LineRecogniser& recogniser, const PixelPlanes& image,
                                    const DetectedLine& line) {
    const LinePlane plane = extractLine(image, line);
    LineReading reading = readPlane(recogniser, plane);
    if (!plane.ambiguous || reading.confidence >= doubtful) return reading;
    // White letters with a dark shadow on a light image: the shadow contrasts most.
    LineReading other = readPlane(recogniser, extractLine(image, line, Ink::white));
    return other.confidence > reading.confidence ? other : reading;
}

LineReading TextRecogniser::readPlane(LineRecogniser& recogniser, const LinePlane& plane) {
    // Before anything is made of it: a line of a row or two would take gigabytes.
    if (preparedWidth(plane) >= tooWide) return {};
    const std::string key = LineMemory::keyOf(plane);
    if (auto known = memory_.find(key)) return *std::move(known);
    const auto read = [&](Proportions proportions) {
        LineReading reading = recogniser.read(prepareLine(plane, proportions));
        reading.text = repairReading(reading, plane);
        return reading;
    };
    LineReading reading = read(Proportions::usual);
    if (reading.confidence < veryDoubtful)
        reading = surerReading(std::move(reading), read(Proportions::slim));
    memory_.remember(key, reading);
    return reading;
}

void TextRecogniser::serve(const std::stop_token& ending) {
    // Not when this worker's turn comes: that may be hours later, with a model's memory out of the blue.
    std::unique_ptr<LineRecogniser> recogniser = makeOrNull();
    while (const std::shared_ptr<Page> page = nextPage(ending)) {
        if (!recogniser) recogniser = makeOrNull();
        std::size_t line = 0;
        bool taken = false;
        {
            const std::scoped_lock lock(mutex_);
            if (!recogniser) page->failed = true;
            taken = !page->isTaken();
            if (taken) line = page->next++;
        }
        if (taken) {
            try {
                page->readings[line] = readLine(*recogniser, page->image, page->lines[line]);
            } catch (...) {
                const std::scoped_lock lock(mutex_);
                page->failed = true;
            }
        }
        const std::scoped_lock lock(mutex_);
        --page->busy;
        if (page->isTaken() && page->busy == 0) page->finished.notify_all();
    }
}

}  // namespace varkel
