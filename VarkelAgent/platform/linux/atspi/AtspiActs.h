#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/linux/atspi/AtspiSession.h"

namespace varkel {

/// What an act on a node came to. `unanswered`: the call went out, and no answer came in time. An application
/// that opens a dialog or quits before it answers has acted, and must not be made to act twice.
enum class AtspiAct { done, unanswered, unsupported, refused };

/// What is done to an application, as opposed to what is read of it. Belongs to one thread at a time, as its
/// session does.
class AtspiActs {
  public:
    /// The session outlives this object.
    explicit AtspiActs(AtspiSession& session) : session_(session) {}

    /// Performs the action that does what a person's click on the node does, if it has one.
    AtspiAct press(std::uint32_t index);

    /// Replaces the text of an editable node. Done only when the new text has been seen there, or a text that
    /// the node made of it; a password, which cannot be seen, counts as taken.
    AtspiAct setText(std::uint32_t index, const std::string& text);

    /// Asks for the keyboard focus. Done only when the node has it.
    AtspiAct grabFocus(std::uint32_t index);

    /// Asks for the node to be scrolled into view, as far as its toolkit can. What was read of places is
    /// forgotten.
    void scrollIntoView(std::uint32_t index);

  private:
    AtspiAct act(std::uint32_t index, SdBusMessage call);
    std::vector<std::string> actionNames(std::uint32_t index);
    std::optional<std::string> currentText(std::uint32_t index);
    bool hasFocus(std::uint32_t index);
    bool awaitText(std::uint32_t index, const std::optional<std::string>& before, const std::string& text);

    AtspiSession& session_;
};

}  // namespace varkel
