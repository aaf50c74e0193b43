#include "platform/linux/atspi/AtspiActs.h"

#include <algorithm>
#include <chrono>
#include <thread>

#include "platform/linux/atspi/AtspiPress.h"

namespace varkel {

namespace {

/// More actions than any element has; one that claims more is looked at this far.
constexpr std::int32_t maxActions = 32;

/// How long an application gets to show the text that it says it has taken, or the focus.
constexpr Deadline::Duration textLimit{1500};
constexpr Deadline::Duration focusLimit{500};

/// Waits for a condition that costs a call to look at: soon at first, then less often.
template <class Condition>
bool await(Deadline deadline, Condition condition) {
    constexpr std::chrono::milliseconds longest{80};
    for (std::chrono::milliseconds pause{5}; !condition(); pause = std::min(2 * pause, longest)) {
        if (deadline.passed()) return false;
        std::this_thread::sleep_for(pause);
    }
    return true;
}

}  // namespace

/// Makes one call that answers whether it was obeyed, and waits for the answer.
AtspiAct AtspiActs::act(std::uint32_t index, SdBusMessage call) {
    AtspiAct result = AtspiAct::refused;
    session_.send(index, std::move(call), [&result](CallOutcome outcome, sd_bus_message* reply) {
        int obeyed = 0;
        switch (outcome) {
            case CallOutcome::replied:
                if (sd_bus_message_read(reply, "b", &obeyed) > 0 && obeyed != 0) result = AtspiAct::done;
                return;
            case CallOutcome::unanswered:
                result = AtspiAct::unanswered;
                return;
            case CallOutcome::unsupported:
                result = AtspiAct::unsupported;
                return;
            case CallOutcome::refused:
            case CallOutcome::unsent:
                return;
        }
    });
    session_.connections().serve();
    return result;
}

std::vector<std::string> AtspiActs::actionNames(std::uint32_t index) {
    std::int32_t count = 0;
    session_.send(index, session_.newCall(index, AtspiCall::getNActions),
                  [&count](CallOutcome, sd_bus_message* reply) {
                      if (reply != nullptr && sd_bus_message_read(reply, "v", "i", &count) <= 0) count = 0;
                  });
    session_.connections().serve();
    std::vector<std::string> names(static_cast<std::size_t>(std::clamp(count, 0, maxActions)));
    for (std::size_t i = 0; i < names.size(); ++i) {
        SdBusMessage ask = session_.newCall(index, AtspiCall::getActionName);
        if (ask && sd_bus_message_append(ask.get(), "i", static_cast<std::int32_t>(i)) < 0) ask.reset();
        session_.send(index, std::move(ask), [&names, i](CallOutcome, sd_bus_message* reply) {
            const char* name = nullptr;
            if (reply != nullptr && sd_bus_message_read(reply, "s", &name) > 0) names[i] = name;
        });
    }
    session_.connections().serve();
    return names;
}

AtspiAct AtspiActs::press(std::uint32_t index) {
    if (!session_.load(index, AtspiPart::role)) return AtspiAct::refused;
    const AtspiRole role = session_.node(index).role;
    if (!mayBePressed(role)) return AtspiAct::unsupported;
    const auto action = pressAction(role, actionNames(index));
    if (!action) return AtspiAct::unsupported;
    SdBusMessage call = session_.newCall(index, AtspiCall::doAction);
    if (call && sd_bus_message_append(call.get(), "i", static_cast<std::int32_t>(*action)) < 0) call.reset();
    return act(index, std::move(call));
}

std::optional<std::string> AtspiActs::currentText(std::uint32_t index) {
    session_.forget(index, AtspiPart::text);
    if (!session_.load(index, AtspiPart::text)) return std::nullopt;
    return session_.node(index).text;
}

/// Whether a text has arrived, or something that the application has made of it: a field may have a maximum
/// length, or a format of its own.
bool AtspiActs::awaitText(std::uint32_t index, const std::optional<std::string>& before,
                          const std::string& text) {
    return await(earlier(session_.connections().deadline(), Deadline::in(textLimit)), [&] {
        const auto now = currentText(index);
        return now && (*now == text || (before && now != before));
    });
}

AtspiAct AtspiActs::setText(std::uint32_t index, const std::string& text) {
    // Gecko answers that it has set the text, and leaves every field of a page and of its own as it was.
    if (session_.connect() && session_.toolkitName() == "Gecko") return AtspiAct::unsupported;
    // Toolkits report success for a read-only field that they left as it was.
    if (!session_.load(index, AtspiPart::states)) return AtspiAct::refused;
    if (!session_.node(index).states.has(AtspiState::editable)) return AtspiAct::unsupported;
    // The bus carries no such texts.
    if (text.find('\0') != std::string::npos) return AtspiAct::unsupported;
    if (!session_.load(index, AtspiPart::role)) return AtspiAct::refused;
    const bool isReadable = session_.node(index).role != AtspiRole::passwordText;
    const auto before = isReadable ? currentText(index) : std::nullopt;
    SdBusMessage call = session_.newCall(index, AtspiCall::setTextContents);
    if (call && sd_bus_message_append(call.get(), "s", text.c_str()) < 0) call.reset();
    const AtspiAct result = act(index, std::move(call));
    if (result != AtspiAct::done || !isReadable) return result;
    return awaitText(index, before, text) ? AtspiAct::done : AtspiAct::refused;
}

bool AtspiActs::hasFocus(std::uint32_t index) {
    session_.forget(index, AtspiPart::states);
    return session_.load(index, AtspiPart::states) && session_.node(index).states.has(AtspiState::focused);
}

AtspiAct AtspiActs::grabFocus(std::uint32_t index) {
    if (!session_.connect()) return AtspiAct::refused;
    const AtspiAct result = act(index, session_.newCall(index, AtspiCall::grabFocus));
    if (result != AtspiAct::done) return result;
    const Deadline limit = earlier(session_.connections().deadline(), Deadline::in(focusLimit));
    return await(limit, [&] { return hasFocus(index); }) ? AtspiAct::done : AtspiAct::refused;
}

void AtspiActs::scrollIntoView(std::uint32_t index) {
    constexpr std::uint32_t anywhere = 6;
    if (!session_.connect()) return;
    SdBusMessage call = session_.newCall(index, AtspiCall::scrollTo);
    if (call && sd_bus_message_append(call.get(), "u", anywhere) < 0) call.reset();
    act(index, std::move(call));
    // What was out of sight may be shown now.
    session_.forget(index, AtspiPart::states);
    session_.forget(index, AtspiPart::extents);
}

}  // namespace varkel
