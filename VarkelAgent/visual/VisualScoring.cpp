#include "visual/VisualScoring.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <optional>
#include <utility>

#include "ocr/OCRResult.h"
#include "visual/TextMatching.h"

namespace varkel {

namespace {

constexpr double rowTolerance = 0.05;

bool comesBefore(const VNRecognizedTextObservation& a, const VNRecognizedTextObservation& b) {
    const CGRect& left = a.boundingBox;
    const CGRect& right = b.boundingBox;
    if (std::abs(left.y - right.y) > rowTolerance) return left.y > right.y;
    return left.x < right.x;
}

/// A line of joined pieces.
struct TextLine {
    std::string text;
    CGRect box;
    float confidence = 0;
};

bool continues(const TextLine& line, const CGRect& box) {
    const double gap = box.x - (line.box.x + line.box.width);
    return std::abs(box.y - line.box.y) < rowTolerance && gap < 0.1 && gap > -0.05;
}

CGRect united(const CGRect& a, const CGRect& b) {
    const double left = std::min(a.x, b.x);
    const double bottom = std::min(a.y, b.y);
    const double right = std::max(a.x + a.width, b.x + b.width);
    const double top = std::max(a.y + a.height, b.y + b.height);
    return {left, bottom, right - left, top - bottom};
}

std::vector<TextLine> joinIntoLines(const std::vector<VNRecognizedTextObservation>& pieces) {
    std::vector<TextLine> lines;
    for (const VNRecognizedTextObservation& piece : pieces) {
        const auto best = piece.topCandidates(1);
        if (best.empty()) continue;
        if (lines.empty() || !continues(lines.back(), piece.boundingBox)) {
            lines.push_back({best[0].string, piece.boundingBox, best[0].confidence});
            continue;
        }
        TextLine& line = lines.back();
        line.text += ' ';
        line.text += best[0].string;
        line.box = united(line.box, piece.boundingBox);
        line.confidence = std::min(line.confidence, best[0].confidence);
    }
    return lines;
}

std::optional<float> scoreText(const ComparableText& line, const ComparableText& query) {
    if (line.equals(query)) return 1.0F;
    if (!line.contains(query)) return std::nullopt;
    const auto share =
        static_cast<float>(query.length()) / static_cast<float>(std::max<std::size_t>(line.length(), 1));
    return share * 0.4F + 0.5F;
}

std::optional<float> scoreBarcode(const ComparableText& payload, const ComparableText& query) {
    if (payload.equals(query)) return 1.0F;
    if (payload.contains(query)) return 0.8F;
    if (query.equals(ComparableText("icon")) || query.equals(ComparableText("barcode"))) return 0.5F;
    return std::nullopt;
}

}  // namespace

void sortForReading(std::vector<VNRecognizedTextObservation>& pieces) {
    // The comparison is not transitive, which the standard sorts must not be given. A merge sort only ever
    // compares one piece of each half: it stays within bounds and is stable whatever the answers.
    std::vector<VNRecognizedTextObservation> merged(pieces.size());
    for (std::size_t width = 1; width < pieces.size(); width *= 2) {
        for (std::size_t start = 0; start < pieces.size(); start += 2 * width) {
            const std::size_t middle = std::min(start + width, pieces.size());
            const std::size_t end = std::min(start + 2 * width, pieces.size());
            std::size_t left = start;
            std::size_t right = middle;
            for (std::size_t out = start; out < end; ++out) {
                const bool takeRight =
                    left == middle || (right < end && comesBefore(pieces[right], pieces[left]));
                merged[out] = std::move(pieces[takeRight ? right++ : left++]);
            }
        }
        pieces.swap(merged);
    }
}

void appendTextMatches(std::vector<VisualFindResult>& results,
                       std::vector<VNRecognizedTextObservation> pieces, std::string_view query,
                       ImageExtent extent) {
    sortForReading(pieces);
    const ComparableText wanted(query);
    for (TextLine& line : joinIntoLines(pieces)) {
        const auto score = scoreText(ComparableText(line.text), wanted);
        if (!score) continue;
        const AXFrame frame = pixelFrame(line.box, extent.width, extent.height);
        results.push_back({std::move(line.text), line.confidence, frame, *score, "text"});
    }
}

void appendBarcodeMatches(std::vector<VisualFindResult>& results,
                          const std::vector<VNBarcodeObservation>& barcodes, std::string_view query,
                          ImageExtent extent) {
    const ComparableText wanted(query);
    for (const VNBarcodeObservation& barcode : barcodes) {
        std::string payload = barcode.payloadStringValue.value_or("barcode");
        const auto score = scoreBarcode(ComparableText(payload), wanted);
        if (!score) continue;
        const AXFrame frame = pixelFrame(barcode.boundingBox, extent.width, extent.height);
        results.push_back({std::move(payload), barcode.confidence, frame, *score, "icon"});
    }
}

void sortByScore(std::vector<VisualFindResult>& results) {
    std::stable_sort(
        results.begin(), results.end(),
        [](const VisualFindResult& a, const VisualFindResult& b) { return a.matchScore > b.matchScore; });
}

}  // namespace varkel
