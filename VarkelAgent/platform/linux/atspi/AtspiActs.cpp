// What a session does to an application, as opposed to what it reads of it.

#include <algorithm>
#include <chrono>
#include <thread>

#include "platform/linux/atspi/AtspiPress.h"
#include "platform/linux/atspi/AtspiSession.h"

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
AtspiSession::Act AtspiSession::act(std::uint32_t index, SdBusMessage call) {
    Act result = Act::refused;
    send(index, std::move(call), [&result](CallOutcome outcome, sd_bus_message* reply) {
        int obeyed = 0;
        switch (outcome) {
            case CallOutcome::replied:
                if (sd_bus_message_read(reply, "b", &obeyed) > 0 && obeyed != 0) result = Act::done;
                return;
            case CallOutcome::unanswered:
                result = Act::unanswered;
                return;
            case CallOutcome::unsupported:
                result = Act::unsupported;
                return;
            case CallOutcome::refused:
            case CallOutcome::unsent:
                return;
        }
    });
    serve();
    return result;
}

std::vector<std::string> AtspiSession::actionNames(std::uint32_t index) {
    std::int32_t count = 0;
    send(index, newCall(index, AtspiCall::getNActions), [&count](CallOutcome, sd_bus_message* reply) {
        if (reply != nullptr && sd_bus_message_read(reply, "v", "i", &count) <= 0) count = 0;
    });
    serve();
    std::vector<std::string> names(static_cast<std::size_t>(std::clamp(count, 0, maxActions)));
    for (std::size_t i = 0; i < names.size(); ++i) {
        SdBusMessage ask = newCall(index, AtspiCall::getActionName);
        if (ask && sd_bus_message_append(ask.get(), "i", static_cast<std::int32_t>(i)) < 0) ask.reset();
        send(index, std::move(ask), [&names, i](CallOutcome, sd_bus_message* reply) {
            const char* name = nullptr;
            if (reply != nullptr && sd_bus_message_read(reply, "s", &name) > 0) names[i] = name;
        });
    }
    serve();
    return names;
}

AtspiSession::Act AtspiSession::press(std::uint32_t index) {
    if (!load(index, AtspiPart::role)) return Act::refused;
    const AtspiRole role = nodes_[index].role;
    if (!mayBePressed(role)) return Act::unsupported;
    const auto action = pressAction(role, actionNames(index));
    if (!action) return Act::unsupported;
    SdBusMessage call = newCall(index, AtspiCall::doAction);
    if (call && sd_bus_message_append(call.get(), "i", static_cast<std::int32_t>(*action)) < 0) call.reset();
    return act(index, std::move(call));
}

std::optional<std::string> AtspiSession::currentText(std::uint32_t index) {
    nodes_[index].forget(AtspiPart::text);
    if (!load(index, AtspiPart::text)) return std::nullopt;
    return nodes_[index].text;
}

/// Whether a text has arrived, or something that the application has made of it: a field may have a maximum
/// length, or a format of its own.
bool AtspiSession::awaitText(std::uint32_t index, const std::optional<std::string>& before,
                             const std::string& text) {
    return await(earlier(deadline_, Deadline::in(textLimit)), [&] {
        const auto now = currentText(index);
        return now && (*now == text || (before && now != before));
    });
}

AtspiSession::Act AtspiSession::setText(std::uint32_t index, const std::string& text) {
    // Gecko answers that it has set the text, and leaves every field of a page and of its own as it was.
    if (connect() && toolkit_.name == "Gecko") return Act::unsupported;
    // Toolkits report success for a read-only field that they left as it was.
    if (!load(index, AtspiPart::states)) return Act::refused;
    if (!nodes_[index].states.has(AtspiState::editable)) return Act::unsupported;
    // The bus carries no such texts.
    if (text.find('\0') != std::string::npos) return Act::unsupported;
    if (!load(index, AtspiPart::role)) return Act::refused;
    const bool isReadable = nodes_[index].role != AtspiRole::passwordText;
    const auto before = isReadable ? currentText(index) : std::nullopt;
    SdBusMessage call = newCall(index, AtspiCall::setTextContents);
    if (call && sd_bus_message_append(call.get(), "s", text.c_str()) < 0) call.reset();
    const Act result = act(index, std::move(call));
    if (result != Act::done || !isReadable) return result;
    return awaitText(index, before, text) ? Act::done : Act::refused;
}

bool AtspiSession::hasFocus(std::uint32_t index) {
    nodes_[index].forget(AtspiPart::states);
    return load(index, AtspiPart::states) && nodes_[index].states.has(AtspiState::focused);
}

AtspiSession::Act AtspiSession::grabFocus(std::uint32_t index) {
    if (!connect()) return Act::refused;
    const Act result = act(index, newCall(index, AtspiCall::grabFocus));
    if (result != Act::done) return result;
    const Deadline limit = earlier(deadline_, Deadline::in(focusLimit));
    return await(limit, [&] { return hasFocus(index); }) ? Act::done : Act::refused;
}

void AtspiSession::scrollIntoView(std::uint32_t index) {
    constexpr std::uint32_t anywhere = 6;
    if (!connect()) return;
    SdBusMessage call = newCall(index, AtspiCall::scrollTo);
    if (call && sd_bus_message_append(call.get(), "u", anywhere) < 0) call.reset();
    act(index, std::move(call));
    // What was out of sight may be shown now.
    nodes_[index].forget(AtspiPart::states);
    nodes_[index].forget(AtspiPart::extents);
}

}  // namespace varkel
