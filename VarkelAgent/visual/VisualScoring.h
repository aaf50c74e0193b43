#pragma once

#include <boost/describe/class.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "base/AXFrame.h"
#include "platform/Vision.h"

namespace varkel {

/// One match of a query in an image.
struct VisualFindResult {
    /// The line as read, or the barcode's payload.
    std::string text;
    /// Of a line in several pieces, the least certain piece's.
    float confidence = 0;
    /// In pixels of the image, origin top left.
    AXFrame boundingBox;
    /// 0.5 to 1.
    float matchScore = 0;
    /// "text" for a line, "icon" for a barcode.
    std::string type;
    friend bool operator==(const VisualFindResult&, const VisualFindResult&) = default;
};
BOOST_DESCRIBE_STRUCT(VisualFindResult, (), (text, confidence, boundingBox, matchScore, type))

/// An image's size in pixels.
struct ImageExtent {
    double width = 0;
    double height = 0;
};

/// Sorts pieces of text into reading order: rows from the top, each from the left. Pieces whose bottoms are
/// within 0.05 of the image's height are one row; in chains of such pieces any order may come out.
void sortForReading(std::vector<VNRecognizedTextObservation>& pieces);

/// Adds the lines that match: pieces side by side are joined into lines, each line is scored once.
void appendTextMatches(std::vector<VisualFindResult>& results,
                       std::vector<VNRecognizedTextObservation> pieces, std::string_view query,
                       ImageExtent extent);

/// Adds the barcodes that match, in their order.
void appendBarcodeMatches(std::vector<VisualFindResult>& results,
                          const std::vector<VNBarcodeObservation>& barcodes, std::string_view query,
                          ImageExtent extent);

/// The best first; equal scores keep their order.
void sortByScore(std::vector<VisualFindResult>& results);

}  // namespace varkel
