#include <chrono>
#include <memory>
#include <string_view>
#include <utility>

#include "ax/AXActions.h"
#include "ax/ActionTarget.h"
#include "ax/ChangeCounter.h"
#include "base/BlockingPool.h"
#include "base/Graphemes.h"
#include "http/JSONResponse.h"
#include "keys/KeyEvents.h"
#include "platform/Platform.h"

namespace varkel {

namespace {

constexpr std::chrono::milliseconds typingPause{10};

/// What typing into an element came to before any key event: an answer, or nothing when keys are needed.
std::optional<HTTPResponse> setValueBlocking(const AXTypeRequest& request) {
    const ActionTarget target = locateActionTarget(request.elementId, request.batch_id);
    if (target.answer) return target.answer;
    Accessibility& accessibility = *Platform::current().accessibility;
    const AXError error =
        accessibility.AXUIElementSetAttributeValue(target.element, AXAttribute::value, request.text);
    if (error == AXError::success) {
        axBumpChangeCounter();
        return jsonResponse(200, {{"ok", true}, {"method", "ax_value"}});
    }
    accessibility.AXUIElementSetAttributeValue(target.element, AXAttribute::focused, true);
    return std::nullopt;
}

void postBoth(const KeyEvents& events) {
    EventPoster& poster = *Platform::current().eventPoster;
    if (events.down) poster.CGEventPost(*events.down);
    if (events.up) poster.CGEventPost(*events.up);
}

/// Types a text with key events into whatever has the keyboard focus.
Task<void> typeKeys(std::string text) {
    if (text.empty()) co_return;
    EventPoster& poster = *Platform::current().eventPoster;
    std::unique_ptr<TextAnnouncement> announcement;
    const auto announce = [&] { announcement = poster.announceText(text); };
    co_await runBlocking(announce);
    for (const std::string_view character : graphemeClusters(text)) {
        const KeyEvents events = eventsForCharacter(poster, character);
        const auto post = [&] { postBoth(events); };
        co_await runBlocking(post);
        co_await sleepFor(typingPause);
    }
    const auto withdraw = [&] { announcement.reset(); };
    co_await runBlocking(withdraw);
}

}  // namespace

Task<HTTPResponse> axType(AXTypeRequest request) {
    const auto setValue = [&] { return setValueBlocking(request); };
    const auto answer = co_await runBlocking(setValue);
    if (answer) co_return *answer;
    co_await typeKeys(std::move(request.text));
    axBumpChangeCounter();
    co_return jsonResponse(200, {{"ok", true}, {"method", "cg_event"}});
}

}  // namespace varkel
