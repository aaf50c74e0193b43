#include <algorithm>
#include <array>
#include <boost/json/array.hpp>
#include <utility>

#include "mcp/Failures.h"
#include "mcp/Snapshot.h"
#include "mcp/Text.h"
#include "mcp/Tools.h"

namespace varkel::mcp {

namespace json = boost::json;
using namespace std::string_view_literals;

namespace {

constexpr std::size_t usualMatches = 10;
constexpr std::int64_t mostMatches = 1'000;
constexpr std::chrono::milliseconds usualWait(10'000);
constexpr std::int64_t longestWaitMilliseconds = 3'600'000;
/// The agent reads a tree at most once a second; asking more often is cheap.
constexpr std::chrono::milliseconds pollInterval(200);
constexpr std::array filters{"role"sv, "label"sv, "identifier"sv, "valueRegex"sv, "batch_id"sv};

const Element& startOf(const Elements& elements, const Arguments& arguments) {
    const Element& root = elements.roots.front();
    const auto id = arguments.text("elementId");
    if (!id) return root;
    const Element* found = findById(root, *id);
    if (found == nullptr) {
        throw ToolError(concat("No element of this application has the id ", quoted(*id, 40),
                               " any more: take a snapshot without elementId."));
    }
    return *found;
}

std::string describeRest(const Snapshot& snapshot, const SnapshotOptions& options) {
    std::string line =
        concat("(", withCommas(snapshot.shown), " of ", withCommas(snapshot.elements), " elements.");
    if (snapshot.leftOut > 0) {
        const bool filtered = options.role || options.text;
        line += concat(" ", withCommas(snapshot.leftOut),
                       filtered ? " do not pass the filter." : " say nothing; all: true shows them.");
    }
    if (snapshot.noRoom > 0) {
        line += concat(
            " ", withCommas(snapshot.noRoom),
            " are left out for room or depth, marked +n inside: take a snapshot with that line's id as "
            "elementId, filter by role or text, or raise maxCharacters.");
    }
    return line + ")";
}

/// Whether an element passes the filters that are compared here rather than by the agent.
bool passes(const Element& element, const Arguments& arguments) {
    const auto contains = [](std::string_view where, const std::optional<std::string>& what) {
        return !what || (!what->empty() && where.find(*what) != std::string_view::npos);
    };
    const auto role = arguments.text("role");
    const auto text = arguments.text("text");
    if (role && element.role != *role) return false;
    if (!contains(element.label, arguments.text("label"))) return false;
    if (!contains(element.identifier, arguments.text("identifier"))) return false;
    return !text || containsIgnoringCase(element.label, *text) || containsIgnoringCase(element.value, *text);
}

const Element* firstThatPasses(const Element& root, const Arguments& arguments) {
    if (passes(root, arguments)) return &root;
    for (const Element& child : root.children) {
        if (const Element* found = firstThatPasses(child, arguments)) return found;
    }
    return nullptr;
}

/// What a wait has seen: an element that passes, if there is one.
struct Sighting {
    std::string line;
    json::object element;
    bool there = false;
};

Sighting seen(const Element* element) {
    if (element == nullptr) return {};
    return {describe(*element, Place::shown), toJSON(*element), true};
}

Task<Sighting> look(const Desktop& desktop, const Arguments& arguments, Call& call) {
    if (arguments.has("text")) {
        const Elements tree = co_await readTree(desktop, arguments, call);
        co_return seen(firstThatPasses(tree.roots.front(), arguments));
    }
    json::object body = arguments.pick(filters);
    body["maxResults"] = 1;
    AgentRequest request{"/ax/find", std::move(body)};
    const AgentAnswer answer = co_await ask(desktop, std::move(request), call);
    const Elements found = readElements(*answer.body);
    co_return seen(found.roots.empty() ? nullptr : &found.roots.front());
}

void checkWait(const Arguments& arguments) {
    constexpr std::array names{"role"sv, "label"sv, "identifier"sv, "valueRegex"sv, "text"sv};
    if (std::ranges::none_of(names, [&](std::string_view name) { return arguments.has(name); })) {
        throw ToolError("Say what to wait for: role, label, identifier, valueRegex or text.");
    }
    if (arguments.has("text") && arguments.has("valueRegex")) {
        throw ToolError("Give either text or valueRegex, not both.");
    }
}

ToolResult waitResult(const Sighting& sighting, bool gone, std::int64_t milliseconds) {
    const std::string after = concat(" after ", milliseconds / 1'000, ".", milliseconds / 100 % 10, " s");
    const bool met = sighting.there != gone;
    ToolResult result;
    result.structured = {{"met", met}};
    if (sighting.there) result.structured.emplace("element", sighting.element);
    if (!met) {
        result.text = gone ? concat("It was still there", after, ": ", sighting.line)
                           : concat("It was not there", after, ". A snapshot shows what is.");
    } else {
        result.text = gone ? concat("Gone", after, ".") : sighting.line;
    }
    return result;
}

}  // namespace

std::size_t characterLimit(const Arguments& arguments) {
    return static_cast<std::size_t>(
        arguments.integer("maxCharacters").value_or(static_cast<std::int64_t>(usualCharacters)));
}

Task<AgentAnswer> ask(const Desktop& desktop, AgentRequest request, Call& call) {
    AgentAnswer answer = co_await desktop.agent.request(std::move(request), call);
    throwIfFailed(answer);
    co_return answer;
}

Task<Elements> readTree(const Desktop& desktop, const Arguments& arguments, Call& call) {
    const auto batch = arguments.text("batch_id");
    const auto pid = arguments.integer("root_pid");
    if (batch && pid) throw ToolError("Give either root_pid or batch_id, not both.");
    AgentRequest request{"/ax/tree", json::object()};
    if (pid) request.body->emplace("root_pid", *pid);
    // Of a batch's application there is no tree, but its first element passes a search without filters.
    if (batch) request = {"/ax/find", json::object{{"batch_id", *batch}, {"maxResults", 1}}};
    const AgentAnswer answer = co_await ask(desktop, std::move(request), call);
    Elements elements = readElements(*answer.body);
    if (elements.roots.size() != 1) throw ToolError("The application shows no elements.");
    co_return elements;
}

Task<ToolResult> takeSnapshot(const Desktop& desktop, const Arguments& arguments, Call& call) {
    SnapshotOptions options;
    options.role = arguments.text("role");
    options.text = arguments.text("text");
    options.all = arguments.flag("all");
    options.maxCharacters = characterLimit(arguments);
    if (const auto depth = arguments.integer("depth")) options.depth = static_cast<std::size_t>(*depth);
    const Elements elements = co_await readTree(desktop, arguments, call);
    const Snapshot snapshot = makeSnapshot(startOf(elements, arguments), options);

    ToolResult result;
    result.text = snapshot.text + describeRest(snapshot, options);
    result.structured = {{"tree", snapshot.text},
                         {"elements", snapshot.elements},
                         {"shown", snapshot.shown},
                         {"leftOut", snapshot.elements - snapshot.shown}};
    co_return result;
}

Task<ToolResult> findElements(const Desktop& desktop, const Arguments& arguments, Call& call) {
    json::object body = arguments.pick(filters);
    const auto most = std::min(
        arguments.integer("maxResults").value_or(static_cast<std::int64_t>(usualMatches)), mostMatches);
    body["maxResults"] = most;
    AgentRequest request{"/ax/find", std::move(body)};
    const AgentAnswer answer = co_await ask(desktop, std::move(request), call);
    const Elements found = readElements(*answer.body);

    ToolResult result;
    json::array matches;
    for (const Element& element : found.roots) {
        result.text += concat(result.text.empty() ? "" : "\n", describe(element, Place::shown));
        matches.push_back(toJSON(element));
    }
    if (found.roots.empty()) {
        result.text =
            "No element passes. Labels are compared with their letter case; a snapshot shows what there is.";
    } else if (std::cmp_equal(found.roots.size(), most)) {
        result.text +=
            concat("\n(There may be more: these are the first ", withCommas(found.roots.size()), ".)");
    }
    result.structured = {{"matches", std::move(matches)}};
    co_return result;
}

Task<ToolResult> waitForElement(const Desktop& desktop, const Arguments& arguments, Call& call) {
    using Clock = std::chrono::steady_clock;
    checkWait(arguments);
    const bool gone = arguments.flag("gone");
    const std::chrono::milliseconds limit(
        std::min(arguments.integer("timeoutMs").value_or(usualWait.count()), longestWaitMilliseconds));
    const auto began = Clock::now();
    call.activity = gone ? "waiting for the element to go" : "waiting for the element";
    while (true) {
        const Sighting sighting = co_await look(desktop, arguments, call);
        const auto passed = Clock::now() - began;
        if (sighting.there != gone || passed >= limit) {
            co_return waitResult(sighting, gone,
                                 std::chrono::duration_cast<std::chrono::milliseconds>(passed).count());
        }
        co_await call.pause(std::min<Clock::duration>(pollInterval, limit - passed));
    }
}

}  // namespace varkel::mcp
