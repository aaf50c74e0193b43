#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace varkel::mcp {

/// A line without its line feed. Of one that was too long there is no text.
struct Line {
    std::string text;
    bool tooLong = false;
};

/// Cuts a stream of bytes into lines and holds no more of a line than it may have. Not for use from several
/// threads at once.
class LineReader {
  public:
    explicit LineReader(std::size_t longest) : longest_(longest) {}

    /// The lines that these bytes complete. One that grows too long is told of as soon as it does; the rest
    /// of it is thrown away. Empty lines are left out.
    std::vector<Line> feed(std::string_view bytes);

    /// What stands after the last line feed, once the stream has ended.
    std::vector<Line> end();

  private:
    void add(std::string_view part, std::vector<Line>& lines);
    void finish(std::vector<Line>& lines);

    std::size_t longest_;
    std::string held_;
    bool skipping_ = false;
};

}  // namespace varkel::mcp
