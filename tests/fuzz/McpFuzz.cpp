// The bridge to assistants, from the bytes of its input to the lines of its output, with an agent that
// answers anything: whatever comes in, what goes out is JSON-RPC, a call is answered once at the most, and a
// tree of any shape gives lines that keep to their budget. The input is what a client sends, an empty line,
// an answer of the agent, an empty line, and a later one.

#include <algorithm>
#include <boost/asio/io_context.hpp>
#include <boost/json/parse.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "fuzz/Property.h"
#include "mcp/Changes.h"
#include "mcp/LineReader.h"
#include "mcp/Server.h"
#include "mcp/Snapshot.h"
#include "mcp/Text.h"
#include "mcp/Tools.h"

namespace varkel::fuzzing {
namespace {

using namespace mcp;

class AnyAgent : public Agent {
  public:
    explicit AnyAgent(std::string_view body) : body_(body) {}

    Task<AgentAnswer> request(AgentRequest, Call&) override {
        const bool fails = body_.starts_with('!');
        co_return AgentAnswer{fails ? 500U : 200U,
                              std::make_shared<const std::string>(fails ? body_.substr(1) : body_)};
    }

  private:
    std::string_view body_;
};

class NoScreen : public Screen {
  public:
    ScreenImage capture(std::optional<ScreenArea>) override { throw ScreenError("no screen"); }
};

/// All tools but those that leave the thread.
class HereTools : public DesktopTools {
  public:
    using DesktopTools::DesktopTools;
    bool has(std::string_view name) const override {
        return name != "screenshot" && name != "read_screen" && name != "find_on_screen" &&
               DesktopTools::has(name);
    }
};

void checkLine(const std::string& line) {
    require(line.find('\n') == std::string::npos, "a message is one line");
    boost::json::error_code error;
    boost::json::parse_options options;
    options.max_depth = 4'096;
    const auto value = boost::json::parse(line, error, {}, options);
    require(!error && value.is_object(), "a message is a JSON object");
    const auto& message = value.get_object();
    require(message.contains("result") != message.contains("error"), "a message is a result or an error");
    const auto* id = message.if_contains("id");
    require(id == nullptr || id->is_string() || id->is_int64() || id->is_uint64(),
            "an id is a text or an integer");
    require(id != nullptr || message.contains("error"), "a result has an id");
}

void serve(std::string_view input, std::string_view answer) {
    boost::asio::io_context context(1);
    AnyAgent agent(answer);
    NoScreen screen;
    HereTools tools({agent, screen});
    std::size_t sent = 0;
    Server server(context.get_executor(), tools, [&sent](const std::string& line) {
        checkLine(line);
        ++sent;
    });
    std::size_t received = 0;
    const auto receive = [&](const std::vector<Line>& lines) {
        for (const Line& line : lines) {
            ++received;
            line.tooLong ? server.refuseLongLine() : server.receive(line.text);
        }
    };
    // Short enough for a fuzzer to exceed, and in pieces that end anywhere.
    LineReader reader(1'000);
    for (std::size_t at = 0; at < input.size(); at += 7) receive(reader.feed(input.substr(at, 7)));
    receive(reader.end());
    // What waits for a time to pass is left behind.
    context.poll();
    require(sent <= received, "nothing is sent that was not asked for");
}

std::optional<Elements> read(std::string_view answer) {
    try {
        return readElements(answer);
    } catch (const ToolError&) {
        return std::nullopt;
    }
}

void checkSnapshot(const Element& root) {
    for (const std::size_t room : {100U, 500U, 20'000U}) {
        SnapshotOptions options;
        options.maxCharacters = room;
        const Snapshot snapshot = makeSnapshot(root, options);
        require(snapshot.shown > 0, "the first element is always shown");
        require(snapshot.shown == 1 || countCharacters(snapshot.text) <= room,
                "a snapshot keeps to its budget");
        const auto lines = static_cast<std::size_t>(std::ranges::count(snapshot.text, '\n'));
        require(lines == snapshot.shown, "an element is one line");
        require(snapshot.elements == countElements(root), "every element is counted");
        require(snapshot.shown + snapshot.leftOut + snapshot.noRoom == snapshot.elements, "nothing is lost");
    }
}

void checkChanges(const Element& before, const Element& after) {
    const Changes changes = compareTrees(before, after);
    require(changes.lines.size() <= mostChanges, "an act has few lines");
    for (const std::string& line : changes.lines) {
        require(line.find('\n') == std::string::npos, "a change is one line");
    }
}

std::string_view takePart(std::string_view& rest) {
    const auto end = std::min(rest.find("\n\n"), rest.size());
    const std::string_view part = rest.substr(0, end);
    rest.remove_prefix(std::min(end + 2, rest.size()));
    return part;
}

}  // namespace

void check(std::string_view rest) {
    const std::string_view input = takePart(rest);
    const std::string_view answer = takePart(rest);
    serve(input, answer);
    const auto before = read(answer);
    const auto after = read(rest);
    if (!before) return;
    for (const auto& root : before->roots) checkSnapshot(root);
    if (!after || before->roots.empty() || after->roots.empty()) return;
    checkChanges(before->roots.front(), after->roots.front());
    checkChanges(after->roots.front(), before->roots.front());
    require(compareTrees(before->roots.front(), before->roots.front()).empty(), "a tree is like itself");
}

}  // namespace varkel::fuzzing
