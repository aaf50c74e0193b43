#include <array>
#include <boost/json/array.hpp>
#include <boost/json/parse.hpp>
#include <utility>

#include "mcp/Failures.h"
#include "mcp/Text.h"
#include "mcp/Tools.h"

namespace varkel::mcp {

namespace json = boost::json;
using namespace std::string_view_literals;

namespace {

/// A field of an answer; null when it is not there.
json::value fieldOf(const AgentAnswer& answer, std::string_view name) {
    json::error_code error;
    const json::value value = json::parse(*answer.body, error);
    const json::object* object = error ? nullptr : value.if_object();
    const json::value* field = object == nullptr ? nullptr : object->if_contains(name);
    if (field == nullptr)
        throw ToolError("What answers on the agent's port is not the agent, or one of another version.");
    return *field;
}

std::string textOf(const AgentAnswer& answer, std::string_view name) {
    const json::value field = fieldOf(answer, name);
    return field.is_string() ? std::string(field.get_string()) : std::string();
}

Task<ToolResult> changeBatch(std::string path, std::string done, const Desktop& desktop,
                             const Arguments& arguments, Call& call) {
    constexpr std::array names{"batch_id"sv};
    AgentRequest request{std::move(path), arguments.pick(names)};
    const AgentAnswer answer = co_await ask(desktop, std::move(request), call);
    const std::string id = textOf(answer, "batch_id");
    ToolResult result;
    result.text = done + quoted(id, 200) + ".";
    result.structured = {{"batch_id", id}};
    co_return result;
}

/// Without a limit: a script may have the whole night's work to do, and a Shortcut has a limit of its own.
Task<ToolResult> run(AgentRequest request, const Desktop& desktop, const Arguments& arguments, Call& call) {
    const AgentAnswer answer = co_await ask(desktop, std::move(request), call);
    const std::string output = shortened(textOf(answer, "output"), characterLimit(arguments));
    ToolResult result;
    result.text = output.empty() ? "It ended well and printed nothing." : output;
    result.structured = {{"output", output}};
    co_return result;
}

}  // namespace

Task<ToolResult> beginBatch(const Desktop& desktop, const Arguments& arguments, Call& call) {
    co_return co_await changeBatch("/batch/begin", "The application that is in front now has the batch_id ",
                                   desktop, arguments, call);
}

Task<ToolResult> endBatch(const Desktop& desktop, const Arguments& arguments, Call& call) {
    co_return co_await changeBatch("/batch/end", "Ended the batch ", desktop, arguments, call);
}

Task<ToolResult> runAppleScript(const Desktop& desktop, const Arguments& arguments, Call& call) {
    constexpr std::array names{"script"sv};
    AgentRequest request{"/applescript/run", arguments.pick(names), std::nullopt};
    co_return co_await run(std::move(request), desktop, arguments, call);
}

Task<ToolResult> runShortcut(const Desktop& desktop, const Arguments& arguments, Call& call) {
    constexpr std::array names{"name"sv, "input"sv, "timeoutMs"sv};
    AgentRequest request{"/shortcut", arguments.pick(names), std::nullopt};
    co_return co_await run(std::move(request), desktop, arguments, call);
}

Task<ToolResult> listShortcuts(const Desktop& desktop, const Arguments&, Call& call) {
    AgentRequest request{"/shortcut/list", std::nullopt};
    const AgentAnswer answer = co_await ask(desktop, std::move(request), call);
    const json::value names = fieldOf(answer, "shortcuts");
    ToolResult result;
    json::array listed;
    if (const json::array* given = names.if_array()) {
        for (const json::value& name : *given) {
            if (!name.is_string()) continue;
            result.text += quoted(name.get_string(), 200) + "\n";
            listed.push_back(name);
        }
    }
    if (listed.empty()) result.text = "There are no Shortcuts.";
    result.structured = {{"shortcuts", std::move(listed)}};
    co_return result;
}

}  // namespace varkel::mcp
