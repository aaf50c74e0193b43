#include "mcp/LineReader.h"

#include <utility>

namespace varkel::mcp {

std::vector<Line> LineReader::feed(std::string_view bytes) {
    std::vector<Line> lines;
    while (!bytes.empty()) {
        const std::size_t feed = bytes.find('\n');
        add(bytes.substr(0, feed), lines);
        if (feed == std::string_view::npos) break;
        finish(lines);
        bytes.remove_prefix(feed + 1);
    }
    return lines;
}

std::vector<Line> LineReader::end() {
    std::vector<Line> lines;
    finish(lines);
    return lines;
}

void LineReader::add(std::string_view part, std::vector<Line>& lines) {
    if (skipping_) return;
    if (part.size() <= longest_ - held_.size()) {
        held_ += part;
        return;
    }
    skipping_ = true;
    held_ = {};
    lines.push_back({{}, true});
}

void LineReader::finish(std::vector<Line>& lines) {
    if (held_.ends_with('\r')) held_.pop_back();
    if (!held_.empty()) lines.push_back({std::exchange(held_, {}), false});
    skipping_ = false;
}

}  // namespace varkel::mcp
