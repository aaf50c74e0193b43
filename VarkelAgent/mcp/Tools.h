#pragma once

#include <span>
#include <string_view>

#include "mcp/Agent.h"
#include "mcp/Arguments.h"
#include "mcp/Element.h"
#include "mcp/Server.h"
#include "platform/Screen.h"

namespace varkel::mcp {

/// What the tools work with.
struct Desktop {
    Agent& agent;
    Screen& screen;
};

/// A tool's own part of a call, with arguments that are as its table says. Throws ToolError, Cancelled.
using Handler = Task<ToolResult> (*)(const Desktop& desktop, const Arguments& arguments, Call& call);

Task<ToolResult> takeSnapshot(const Desktop& desktop, const Arguments& arguments, Call& call);
Task<ToolResult> findElements(const Desktop& desktop, const Arguments& arguments, Call& call);
Task<ToolResult> waitForElement(const Desktop& desktop, const Arguments& arguments, Call& call);
Task<ToolResult> clickElement(const Desktop& desktop, const Arguments& arguments, Call& call);
Task<ToolResult> typeText(const Desktop& desktop, const Arguments& arguments, Call& call);
Task<ToolResult> scrollElement(const Desktop& desktop, const Arguments& arguments, Call& call);
Task<ToolResult> pressKeys(const Desktop& desktop, const Arguments& arguments, Call& call);
Task<ToolResult> takeScreenshot(const Desktop& desktop, const Arguments& arguments, Call& call);
Task<ToolResult> readScreen(const Desktop& desktop, const Arguments& arguments, Call& call);
Task<ToolResult> findOnScreen(const Desktop& desktop, const Arguments& arguments, Call& call);
Task<ToolResult> beginBatch(const Desktop& desktop, const Arguments& arguments, Call& call);
Task<ToolResult> endBatch(const Desktop& desktop, const Arguments& arguments, Call& call);
Task<ToolResult> runAppleScript(const Desktop& desktop, const Arguments& arguments, Call& call);
Task<ToolResult> listShortcuts(const Desktop& desktop, const Arguments& arguments, Call& call);
Task<ToolResult> runShortcut(const Desktop& desktop, const Arguments& arguments, Call& call);

/// What several tools need of the agent.

/// A request whose answer is a success.
Task<AgentAnswer> ask(const Desktop& desktop, AgentRequest request, Call& call);

/// The tree of the application that the arguments name with root_pid or batch_id, or of the one in front.
/// Exactly one root.
Task<Elements> readTree(const Desktop& desktop, const Arguments& arguments, Call& call);

/// How many characters the answer may have: the argument maxCharacters.
std::size_t characterLimit(const Arguments& arguments);

/// The tools of the table in ToolTable.cpp.
class DesktopTools : public ToolBox {
  public:
    explicit DesktopTools(Desktop desktop) : desktop_(desktop) {}
    boost::json::array list() const override;
    bool has(std::string_view name) const override;
    Task<ToolResult> call(std::string name, boost::json::object arguments, Call& call) override;

  private:
    Desktop desktop_;
};

}  // namespace varkel::mcp
