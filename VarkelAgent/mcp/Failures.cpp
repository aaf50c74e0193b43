#include "mcp/Failures.h"

#include <algorithm>
#include <array>
#include <boost/json/parse.hpp>
#include <string>
#include <string_view>

#include "mcp/Text.h"

namespace varkel::mcp {

namespace json = boost::json;

namespace {

constexpr std::size_t longestDetail = 2'000;

struct Sentence {
    std::string_view error;
    std::string_view text;
    /// The field of the answer that says more, if it has it.
    std::string_view detail = {};
};

constexpr std::array sentences{
    Sentence{"unauthorized",
             "The agent refused the token of varkel-mcp: the person must start it with the agent's own token "
             "(--token-file)."},
    Sentence{
        "consent_denied",
        "The person did not allow this, or their consent service did not answer. Nothing was done. Ask the "
        "person before you try it again."},
    Sentence{"element_not_found",
             "No element has this id any more, and nothing was done: take a new snapshot, or find the "
             "element again. "
             "Ids belong to the application in front, or to that of the batch."},
    Sentence{"ax_permission_missing",
             "The session's accessibility bus does not answer, so no application can be read. screenshot and "
             "read_screen may still work; `varkel-agent permissions` tells the person what is missing."},
    Sentence{"could_not_get_frontmost_app",
             "No application is in front. Bring one to the front with press_keys and app_name, or give a "
             "root_pid."},
    Sentence{"action_failed",
             "The element has no action and no place on the screen, so it cannot be acted on. Act on what it "
             "is in, "
             "or scroll it into view first."},
    Sentence{"invalid_input", "The agent did not take this:", "hint"},
    Sentence{"unknown_key",
             "This is no chord; what comes before it has been pressed. A chord is modifiers (ctrl, alt, cmd, "
             "shift, "
             "fn) and one key, such as ctrl+shift+t or return. Not known:",
             "token"},
    Sentence{"app_not_found", "No application has this identifier, and none can be launched:", "bundle_id"},
    Sentence{"unsupported_applescript_target", "This application is no terminal:", "bundle_id"},
    Sentence{"applescript_failed", "The script failed:", "stderr"},
    Sentence{"shortcut_failed", "The Shortcut failed; list_shortcuts has the names. It said:", "stderr"},
    Sentence{
        "shortcut_timeout",
        "The Shortcut took longer than its timeoutMs and was stopped; what it had done by then is done."},
    Sentence{"ocr_failed", "The text of the image could not be read:", "message"},
    Sentence{"visual_find_failed", "The image could not be searched:", "message"},
    Sentence{"bad_request", "The agent did not take this:", "message"},
    Sentence{"not_found", "The agent does not offer this: it is of an older version."},
    Sentence{"internal_error", "The agent failed at this:", "message"},
};

std::string_view textOf(const json::object& object, std::string_view key) {
    const json::value* value = object.if_contains(key);
    const json::string* text = value == nullptr ? nullptr : value->if_string();
    return text == nullptr ? std::string_view() : std::string_view(*text);
}

std::string sentenceFor(const json::object& body, std::string_view error) {
    const auto found = std::ranges::find(sentences, error, &Sentence::error);
    if (found == sentences.end()) return concat("The agent failed at this: ", quoted(error, 100));
    std::string_view detail = textOf(body, found->detail);
    if (detail.empty() && !found->detail.empty()) detail = textOf(body, "message");
    std::string sentence(found->text);
    if (found->detail.empty()) return sentence;
    return concat(sentence, " ", detail.empty() ? "no reason given." : quoted(detail, longestDetail));
}

}  // namespace

void throwIfFailed(const AgentAnswer& answer) {
    if (answer.status == 200) return;
    json::error_code failure;
    const json::value value = json::parse(*answer.body, failure);
    const json::object* body = failure ? nullptr : value.if_object();
    const std::string_view error = body == nullptr ? std::string_view() : textOf(*body, "error");
    if (error.empty()) {
        throw ToolError("What answers on the agent's port is not the agent (status " +
                        std::to_string(answer.status) + ").");
    }
    throw ToolError(sentenceFor(*body, error));
}

}  // namespace varkel::mcp
