#include <algorithm>
#include <array>
#include <boost/json/array.hpp>
#include <boost/json/parse.hpp>
#include <cmath>
#include <utility>

#include "base/BlockingPool.h"
#include "client/Image.h"
#include "mcp/Failures.h"
#include "mcp/Text.h"
#include "mcp/Tools.h"

namespace varkel::mcp {

namespace json = boost::json;
using namespace std::string_view_literals;

namespace {

constexpr std::int64_t usualWidth = 1'280;
constexpr std::int64_t widest = 16'384;
constexpr std::int64_t usualMatches = 10;
constexpr std::size_t longestLine = 1'000;

/// An image of a part of the desktop as a file.
struct ImageFile {
    std::string base64;
    /// Which part it is.
    ScreenArea area;
    int width = 0;
    int height = 0;
};

const Element* windowOf(const Element& application) {
    const Element* window = nullptr;
    for (const Element& child : application.children) {
        if (!child.frame || child.frame->width <= 0) continue;
        if (child.focused) return &child;
        if (window == nullptr) window = &child;
    }
    return window;
}

/// The part of the desktop that the arguments name, or nothing for all of it.
Task<std::optional<ScreenArea>> findArea(const Desktop& desktop, const Arguments& arguments, Call& call) {
    const auto id = arguments.text("elementId");
    if (!id && !arguments.has("root_pid") && !arguments.has("batch_id")) co_return std::nullopt;
    const Elements elements = co_await readTree(desktop, arguments, call);
    const Element& root = elements.roots.front();
    const Element* element = id ? findById(root, *id) : windowOf(root);
    if (element == nullptr) {
        throw ToolError(
            id ? "No element has this id any more: take a new snapshot, or find the element again."
               : "The application has no window with a place on the screen.");
    }
    if (!element->frame)
        throw ToolError("This element has no place on the screen: scroll it into view first.");
    const Frame& frame = *element->frame;
    co_return ScreenArea{frame.x, frame.y, frame.width, frame.height};
}

Task<ImageFile> captureImage(const Desktop& desktop, std::optional<ScreenArea> area, std::int64_t maxWidth) {
    auto take = [&desktop, area, maxWidth] {
        ScreenImage image = desktop.screen.capture(area);
        const ScreenArea seen = image.area;
        image = scaledDown(std::move(image), static_cast<int>(std::min(maxWidth, widest)));
        return ImageFile{encodeBase64(encodePNG(image)), seen, image.area.width, image.area.height};
    };
    try {
        co_return co_await runBlocking(take);
    } catch (const ScreenError& error) {
        throw ToolError(error.what());
    }
}

json::object frameOf(const ScreenArea& area) {
    return {{"x", area.x}, {"y", area.y}, {"width", area.width}, {"height", area.height}};
}

std::string describePlace(const ScreenArea& area) {
    return concat(area.x, ",", area.y, " ", area.width, "x", area.height);
}

/// 1.5 as "1.500".
std::string describeScale(double scale) {
    const auto thousandths = std::lround(scale * 1'000);
    return concat(thousandths / 1'000, ".", std::to_string(1'000 + thousandths % 1'000).substr(1));
}

int pixelOf(const json::object& box, std::string_view key) {
    const json::value* value = box.if_contains(key);
    if (value == nullptr || !value->is_number()) return 0;
    return static_cast<int>(std::lround(std::clamp(value->to_number<double>(), -1e6, 1e6)));
}

/// A line of text of the agent's answer, with its place on the desktop.
struct RecognisedLine {
    std::string text;
    ScreenArea place;
};

std::vector<RecognisedLine> readLines(const AgentAnswer& answer, const ScreenArea& area) {
    json::error_code error;
    const json::value value = json::parse(*answer.body, error);
    const json::value* results =
        error || !value.is_object() ? nullptr : value.get_object().if_contains("results");
    if (results == nullptr || !results->is_array()) {
        throw ToolError("What answers on the agent's port is not the agent, or one of another version.");
    }
    std::vector<RecognisedLine> lines;
    for (const json::value& each : results->get_array()) {
        const json::object* object = each.if_object();
        const json::value* text = object == nullptr ? nullptr : object->if_contains("text");
        const json::value* box = object == nullptr ? nullptr : object->if_contains("boundingBox");
        if (text == nullptr || !text->is_string() || box == nullptr || !box->is_object()) continue;
        const json::object& frame = box->get_object();
        lines.push_back({std::string(text->get_string()),
                         {area.x + pixelOf(frame, "x"), area.y + pixelOf(frame, "y"), pixelOf(frame, "width"),
                          pixelOf(frame, "height")}});
    }
    return lines;
}

/// As many lines as fit, and how many did not.
ToolResult linesResult(const std::vector<RecognisedLine>& lines, std::size_t maxCharacters,
                       std::size_t maxLines) {
    ToolResult result;
    json::array shown;
    std::size_t room = maxCharacters;
    for (const RecognisedLine& line : lines) {
        const std::string text = concat(describePlace(line.place), " ", quoted(line.text, longestLine), "\n");
        const std::size_t needed = countCharacters(text);
        if (shown.size() == maxLines || needed > room) break;
        room -= needed;
        result.text += text;
        shown.push_back(json::object{{"text", line.text}, {"frame", frameOf(line.place)}});
    }
    if (lines.size() > shown.size()) {
        result.text += concat("(", withCommas(lines.size() - shown.size()),
                              " more lines are left out: ask for a part of the screen, or for more.)");
    }
    if (lines.empty()) result.text = "No text was recognised there.";
    result.structured = {{"lines", std::move(shown)}};
    return result;
}

/// Has the agent recognise an image in full size, so that places need no scaling.
Task<std::vector<RecognisedLine>> recognise(std::string path, json::object body, const Desktop& desktop,
                                            const Arguments& arguments, Call& call) {
    const auto wanted = co_await findArea(desktop, arguments, call);
    ImageFile image = co_await captureImage(desktop, wanted, widest);
    call.throwIfCancelled();
    body.emplace("imageBase64", std::move(image.base64));
    AgentRequest request{std::move(path), std::move(body), std::chrono::seconds(120)};
    const AgentAnswer answer = co_await ask(desktop, std::move(request), call);
    co_return readLines(answer, image.area);
}

}  // namespace

Task<ToolResult> takeScreenshot(const Desktop& desktop, const Arguments& arguments, Call& call) {
    const auto wanted = co_await findArea(desktop, arguments, call);
    ImageFile image =
        co_await captureImage(desktop, wanted, arguments.integer("maxWidth").value_or(usualWidth));
    const double scale = static_cast<double>(image.area.width) / image.width;
    const std::string factor = describeScale(scale);

    ToolResult result;
    result.text = concat("The desktop at ", describePlace(image.area), ", as ", image.width, "x",
                         image.height, " pixels. The pixel (x, y) of this image is the place (", image.area.x,
                         " + ", factor, " x, ", image.area.y, " + ", factor, " y) of the desktop.");
    result.structured = frameOf(image.area);
    result.structured.emplace("scale", scale);
    result.image = std::move(image.base64);
    co_return result;
}

Task<ToolResult> readScreen(const Desktop& desktop, const Arguments& arguments, Call& call) {
    json::object body;
    const auto lines = co_await recognise("/ocr", std::move(body), desktop, arguments, call);
    co_return linesResult(lines, characterLimit(arguments), lines.size());
}

Task<ToolResult> findOnScreen(const Desktop& desktop, const Arguments& arguments, Call& call) {
    constexpr std::array names{"query"sv};
    const auto lines = co_await recognise("/visual/find", arguments.pick(names), desktop, arguments, call);
    const auto most = arguments.integer("maxResults").value_or(usualMatches);
    ToolResult result = linesResult(lines, 20'000, static_cast<std::size_t>(most));
    if (lines.empty()) result.text = "Nothing like this stands there. read_screen shows what does.";
    co_return result;
}

}  // namespace varkel::mcp
