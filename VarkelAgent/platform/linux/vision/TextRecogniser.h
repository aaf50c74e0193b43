#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <stop_token>
#include <thread>
#include <vector>

#include "platform/linux/vision/LineDetector.h"
#include "platform/linux/vision/LineMemory.h"
#include "platform/linux/vision/LineRecogniser.h"
#include "platform/linux/vision/PixelPlanes.h"
#include "platform/linux/vision/RecognisedLine.h"

namespace varkel {

/// Reads the text of images on one worker thread per core. Workers and their recognisers are made when the
/// first image comes and kept. All images share the workers, line by line, so that several at once take
/// no longer than one after the other.
class TextRecogniser {
  public:
    using MakeLineRecogniser = std::function<std::unique_ptr<LineRecogniser>()>;

    /// `workers` 0 means one per core, within reason; `remembered` lines are not read again when they come
    /// again; an image is given up after `timeLimit`.
    explicit TextRecogniser(MakeLineRecogniser make = LineRecogniser::make, unsigned workers = 0,
                            std::size_t remembered = 4096,
                            std::chrono::milliseconds timeLimit = std::chrono::seconds(60));
    TextRecogniser(const TextRecogniser&) = delete;
    TextRecogniser& operator=(const TextRecogniser&) = delete;
    ~TextRecogniser();

    /// The lines that were read with some confidence, in reading order; nothing when there is no model, the
    /// image takes too long or `cancelled` was requested before all lines were taken. Blocks. Any thread.
    std::optional<std::vector<RecognisedLine>> recognise(const PixelPlanes& image,
                                                         const std::stop_token& cancelled);

  private:
    struct Page;

    /// Called with the lock held; false when no thread can be had.
    bool startWorkers();
    std::unique_ptr<LineRecogniser> makeOrNull() const;
    /// What was read of these lines with some confidence; nothing as with recognise().
    std::optional<std::vector<RecognisedLine>> readLines(const Pyramid& pyramid,
                                                         std::vector<DetectedLine> lines,
                                                         const CancellableDeadline& deadline,
                                                         const std::stop_token& cancelled);
    /// Adds the lines of white letters on images; false when readLines() gives nothing.
    bool readWhiteLines(const PixelPlanes& image, std::vector<RecognisedLine>& found,
                        const CancellableDeadline& deadline, const std::stop_token& cancelled);
    /// Takes off the line what turns out to be none of it.
    LineReading readLine(LineRecogniser& recogniser, const Pyramid& pyramid, DetectedLine& line);
    LineReading readCut(LineRecogniser& recogniser, const PixelPlanes& image, const DetectedLine& line);
    LineReading readPlane(LineRecogniser& recogniser, const LinePlane& plane);
    void serve(const std::stop_token& ending);
    /// Takes one line of the page that waits longest for its turn; null when the workers end.
    std::shared_ptr<Page> nextPage(const std::stop_token& ending);

    const MakeLineRecogniser make_;
    const unsigned workerCount_;
    const std::chrono::milliseconds timeLimit_;
    LineMemory memory_;
    std::mutex mutex_;
    std::condition_variable_any work_;
    std::deque<std::shared_ptr<Page>> pages_;
    std::vector<std::jthread> workers_;
};

}  // namespace varkel
