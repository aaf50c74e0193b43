// What a session does to an application, as opposed to what it reads of it.

#include <algorithm>
#include <string_view>

#include "platform/linux/AtspiSession.h"
#include "platform/linux/AtspiWire.h"

namespace varkel {

namespace {

constexpr const char* actionInterface = "org.a11y.atspi.Action";
constexpr const char* componentInterface = "org.a11y.atspi.Component";

/// More actions than any element has; one that claims more is looked at this far.
constexpr std::int32_t maxActions = 32;

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
                result = Act::done;
                return;
            case CallOutcome::unsupported:
                result = Act::unsupported;
                return;
            case CallOutcome::refused:
                return;
        }
    });
    serve();
    return result;
}

std::vector<std::string> AtspiSession::actionNames(std::uint32_t index) {
    std::int32_t count = 0;
    SdBusMessage call = newCall(index, dbusProperties, "Get");
    if (call && sd_bus_message_append(call.get(), "ss", actionInterface, "NActions") < 0) call.reset();
    send(index, std::move(call), [&count](CallOutcome, sd_bus_message* reply) {
        if (reply != nullptr && sd_bus_message_read(reply, "v", "i", &count) <= 0) count = 0;
    });
    serve();
    std::vector<std::string> names(static_cast<std::size_t>(std::clamp(count, 0, maxActions)));
    for (std::size_t i = 0; i < names.size(); ++i) {
        SdBusMessage ask = newCall(index, actionInterface, "GetName");
        if (ask && sd_bus_message_append(ask.get(), "i", static_cast<std::int32_t>(i)) < 0) ask.reset();
        send(index, std::move(ask), [&names, i](CallOutcome, sd_bus_message* reply) {
            const char* name = nullptr;
            if (reply != nullptr && sd_bus_message_read(reply, "s", &name) > 0) names[i] = name;
        });
    }
    serve();
    return names;
}

AtspiSession::Act AtspiSession::performAction(std::uint32_t index, std::span<const std::string_view> names) {
    if (!connect()) return Act::refused;
    const std::vector<std::string> offered = actionNames(index);
    for (const std::string_view wanted : names) {
        const auto found = std::ranges::find(offered, wanted);
        if (found == offered.end()) continue;
        SdBusMessage call = newCall(index, actionInterface, "DoAction");
        const auto number = static_cast<std::int32_t>(found - offered.begin());
        if (call && sd_bus_message_append(call.get(), "i", number) < 0) call.reset();
        return act(index, std::move(call));
    }
    return Act::unsupported;
}

AtspiSession::Act AtspiSession::setText(std::uint32_t index, const std::string& text) {
    // Toolkits report success for a read-only field that they left as it was.
    if (!load(index, AtspiPart::states)) return Act::refused;
    if (!nodes_[index].states.has(AtspiState::editable)) return Act::unsupported;
    // The bus carries no such texts.
    if (text.find('\0') != std::string::npos) return Act::unsupported;
    SdBusMessage call = newCall(index, "org.a11y.atspi.EditableText", "SetTextContents");
    if (call && sd_bus_message_append(call.get(), "s", text.c_str()) < 0) call.reset();
    return act(index, std::move(call));
}

AtspiSession::Act AtspiSession::grabFocus(std::uint32_t index) {
    if (!connect()) return Act::refused;
    return act(index, newCall(index, componentInterface, "GrabFocus"));
}

void AtspiSession::scrollIntoView(std::uint32_t index) {
    constexpr std::uint32_t anywhere = 6;
    if (!connect()) return;
    SdBusMessage call = newCall(index, componentInterface, "ScrollTo");
    if (call && sd_bus_message_append(call.get(), "u", anywhere) < 0) call.reset();
    act(index, std::move(call));
    nodes_[index].forget(AtspiPart::extents);
}

}  // namespace varkel
