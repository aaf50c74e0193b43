#include <algorithm>
#include <array>
#include <boost/json/array.hpp>
#include <boost/json/parse.hpp>
#include <exception>
#include <utility>

#include "mcp/Changes.h"
#include "mcp/Failures.h"
#include "mcp/Text.h"
#include "mcp/Tools.h"

namespace varkel::mcp {

namespace json = boost::json;
using namespace std::string_view_literals;

namespace {

using Clock = std::chrono::steady_clock;

/// Consent takes two minutes at the most, and an act half of one.
constexpr std::chrono::seconds actLimit(180);
constexpr std::chrono::milliseconds usualSettle(1'200);
constexpr std::int64_t longestSettleMilliseconds = 60'000;
/// What most applications need to have drawn what a click does.
constexpr std::chrono::milliseconds firstLook(100);
constexpr std::chrono::milliseconds nextLook(200);

/// What there was to see of an application, if it could be read.
struct View {
    std::optional<Elements> tree;
    std::string failure;

    const Element* root() const { return tree ? &tree->roots.front() : nullptr; }
};

Task<View> view(const Desktop& desktop, const Arguments& arguments, Call& call) {
    View view;
    try {
        view.tree = co_await readTree(desktop, arguments, call);
    } catch (const ToolError& error) {
        view.failure = error.what();
    }
    co_return view;
}

/// An application that does not answer is one element without a role of its own.
bool answers(const View& view) {
    return view.root() != nullptr && (view.root()->role != "Unknown" || !view.root()->children.empty());
}

std::string whyUnread(const View& view) {
    return view.failure.empty() ? "the application does not answer at the moment." : view.failure;
}

/// How an act changed what is in front.
struct Effect {
    Changes changes;
    /// Another application is in front.
    bool elsewhere = false;
    std::string failure;

    /// More may come.
    bool isNothing() const { return changes.empty() && !elsewhere; }
};

Effect compareViews(const View& before, const View& after) {
    Effect effect;
    if (!answers(before) || !answers(after)) {
        effect.failure = whyUnread(answers(before) ? after : before);
        return effect;
    }
    effect.elsewhere = before.root()->id != after.root()->id;
    if (!effect.elsewhere) effect.changes = compareTrees(*before.root(), *after.root());
    return effect;
}

std::string describeEffect(const Effect& effect, const View& after) {
    if (!effect.failure.empty()) return "What changed cannot be told: " + effect.failure;
    if (effect.elsewhere) return concat("Another application is in front now: ", describe(*after.root()));
    const Changes& changes = effect.changes;
    if (changes.empty()) return "Nothing has changed in the application so far.";
    std::string text;
    for (const std::string& line : changes.lines) text += line + "\n";
    if (changes.more > 0) text += concat("and ", withCommas(changes.more), " more\n");
    if (changes.renumbered > 0) {
        text += withCommas(changes.renumbered) +
                " elements are as they were but have new ids: find them before acting "
                "on them.\n";
    }
    if (changes.moved > 0) text += withCommas(changes.moved) + " elements moved on the screen.\n";
    text.pop_back();
    return text;
}

json::object parseAnswer(const AgentAnswer& answer) {
    json::error_code error;
    json::value value = json::parse(*answer.body, error);
    if (error || !value.is_object()) throw ToolError("What answers on the agent's port is not the agent.");
    return std::move(value.get_object());
}

std::string methodOf(const json::object& answer) {
    const json::value* method = answer.if_contains("method");
    if (method == nullptr || !method->is_string()) return "unknown";
    return std::string(method->get_string());
}

ToolResult plainResult(const std::string& what, const json::object& answer) {
    ToolResult result;
    result.text = what + " (" + methodOf(answer) + ").";
    result.structured = {{"method", methodOf(answer)}};
    return result;
}

/// Looks at the application until it differs from what it was or the time is up.
Task<void> addChanges(ToolResult& result, const View& before, Clock::duration limit, const Desktop& desktop,
                      const Arguments& arguments, Call& call) {
    const auto deadline = Clock::now() + limit;
    call.activity = "looking at what changed";
    co_await call.pause(std::min<Clock::duration>(firstLook, limit));
    View after = co_await view(desktop, arguments, call);
    Effect effect = compareViews(before, after);
    while (effect.isNothing() && answers(before) && Clock::now() < deadline) {
        co_await call.pause(std::min<Clock::duration>(nextLook, deadline - Clock::now()));
        after = co_await view(desktop, arguments, call);
        effect = compareViews(before, after);
    }
    result.text += concat("\n", describeEffect(effect, after));
    json::array lines;
    for (const std::string& line : effect.changes.lines) lines.emplace_back(line);
    if (effect.changes.more > 0) lines.emplace_back(concat("and ", withCommas(effect.changes.more), " more"));
    if (effect.elsewhere) lines.emplace_back(describeEffect(effect, after));
    result.structured.emplace("changes", std::move(lines));
}

/// Does what a request asks for and tells what changed.
Task<ToolResult> act(std::string what, AgentRequest request, const Desktop& desktop,
                     const Arguments& arguments, Call& call) {
    const std::chrono::milliseconds settle(
        std::min(arguments.integer("timeoutMs").value_or(usualSettle.count()), longestSettleMilliseconds));
    const bool looks = settle.count() > 0;
    View before;
    if (looks) before = co_await view(desktop, arguments, call);
    const AgentAnswer answer = co_await ask(desktop, std::move(request), call);
    ToolResult result = plainResult(what, parseAnswer(answer));
    if (looks) co_await addChanges(result, before, settle, desktop, arguments, call);
    co_return result;
}

}  // namespace

Task<ToolResult> clickElement(const Desktop& desktop, const Arguments& arguments, Call& call) {
    constexpr std::array names{"elementId"sv, "batch_id"sv};
    AgentRequest request{"/ax/click", arguments.pick(names), actLimit};
    co_return co_await act("Clicked", std::move(request), desktop, arguments, call);
}

Task<ToolResult> typeText(const Desktop& desktop, const Arguments& arguments, Call& call) {
    constexpr std::array names{"elementId"sv, "text"sv, "batch_id"sv};
    // A text that has to be typed takes as long as it is.
    AgentRequest request{"/ax/type", arguments.pick(names), std::nullopt};
    co_return co_await act("Typed", std::move(request), desktop, arguments, call);
}

Task<ToolResult> scrollElement(const Desktop& desktop, const Arguments& arguments, Call& call) {
    constexpr std::array names{"elementId"sv, "direction"sv, "amount"sv, "batch_id"sv};
    // The agent goes on for as many turns as were asked for, until the connection is closed.
    AgentRequest request{"/ax/scroll", arguments.pick(names), std::nullopt};
    co_return co_await act("Scrolled", std::move(request), desktop, arguments, call);
}

Task<ToolResult> pressKeys(const Desktop& desktop, const Arguments& arguments, Call& call) {
    constexpr std::array names{"text"sv, "keys"sv, "app_bundle_id"sv, "app_name"sv};
    if (!arguments.has("text") && !arguments.has("keys")) throw ToolError("Give a text, keys, or both.");
    AgentRequest request{"/keystrokes", arguments.pick(names), std::nullopt};
    co_return co_await act("Pressed", std::move(request), desktop, arguments, call);
}

}  // namespace varkel::mcp
