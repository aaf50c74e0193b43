#include "ax/AXActions.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "ax/AXError.h"
#include "ax/Attributes.h"
#include "ax/BatchManager.h"
#include "ax/ChangeCounter.h"
#include "ax/ElementSearch.h"
#include "base/BlockingPool.h"
#include "base/Graphemes.h"
#include "base/UnicodeText.h"
#include "http/JSONResponse.h"
#include "keys/KeyEvents.h"
#include "platform/Platform.h"

namespace varkel {

namespace {

constexpr std::chrono::milliseconds typingPause{10};

constexpr double defaultAmount = 100;
constexpr double amountPerStep = 50;
/// More steps than anybody waits for; an amount beyond it scrolls as far.
constexpr double maxSteps = 100'000;
/// How often a scroll looks whether the client still waits. Shorter ones are carried out whole, also for a
/// client that has only finished sending.
constexpr int stepsBetweenLooks = 200;

/// The element to act on, or the answer that ends the request.
struct Target {
    AXUIElementRef element;
    std::optional<HTTPResponse> answer;
};

Target refuse(HTTPResponse answer) {
    return {nullptr, std::move(answer)};
}

/// The pid of the application to act in; nothing when no application is in front, whatever the batch.
std::optional<pid_t> resolveTargetPid(const std::optional<std::string>& batchId) {
    const auto frontmost = frontmostApplicationPid();
    if (!frontmost || !batchId) return frontmost;
    const auto pinned = BatchManager::shared().lookup(*batchId);
    return pinned ? pinned : frontmost;
}

Target locate(const std::string& id, const std::optional<std::string>& batchId) {
    Accessibility& accessibility = *Platform::current().accessibility;
    if (!accessibility.AXIsProcessTrusted()) {
        return refuse(jsonResponse(403, axErrorResponse(AXErrorCode::permissionMissing, accessibilityHint)));
    }
    const auto pid = resolveTargetPid(batchId);
    if (!pid) return refuse(jsonResponse(500, {{"error", "could_not_get_frontmost_app"}}));
    AXUIElementRef element = findElementInApplication(accessibility.AXUIElementCreateApplication(*pid), id);
    if (!element) return refuse(jsonResponse(404, axErrorResponse(AXErrorCode::elementNotFound, "")));
    return {std::move(element), std::nullopt};
}

bool succeeded(AXError error) {
    return error == AXError::success;
}

void clickAt(CGPoint point) {
    EventPoster& poster = *Platform::current().eventPoster;
    using enum CGEventType;
    std::vector<CGEvent> click;
    for (const CGEventType type : {mouseMoved, leftMouseDown, leftMouseUp}) {
        auto event = poster.CGEventCreateMouseEvent(type, point, CGMouseButton::left);
        if (event) click.push_back(std::move(*event));
    }
    poster.postTogether(click);
}

HTTPResponse clickBlocking(const AXClickRequest& request, const std::optional<std::string>& batchId) {
    const Target target = locate(request.elementId, batchId);
    if (target.answer) return *target.answer;
    Accessibility& accessibility = *Platform::current().accessibility;
    if (succeeded(accessibility.AXUIElementPerformAction(target.element, AXAction::press))) {
        axBumpChangeCounter();
        return jsonResponse(200, {{"ok", true}, {"method", "ax_press"}});
    }
    const auto frame = getFrame(target.element);
    if (!frame) {
        constexpr std::string_view hint = "no frame for synthesized click";
        return jsonResponse(500, axErrorResponse(AXErrorCode::actionFailed, hint));
    }
    const CGPoint centre{frame->x + frame->width * 0.5, frame->y + frame->height * 0.5};
    clickAt(centre);
    axBumpChangeCounter();
    return jsonResponse(200,
                        {{"ok", true}, {"method", "synthesized_click"}, {"x", centre.x}, {"y", centre.y}});
}

/// What typing into an element came to before any key event: an answer, or nothing when keys are needed.
std::optional<HTTPResponse> setValueBlocking(const AXTypeRequest& request,
                                             const std::optional<std::string>& batchId) {
    const Target target = locate(request.elementId, batchId);
    if (target.answer) return target.answer;
    Accessibility& accessibility = *Platform::current().accessibility;
    if (succeeded(
            accessibility.AXUIElementSetAttributeValue(target.element, AXAttribute::value, request.text))) {
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

std::optional<AXAction> scrollAction(std::string_view direction) {
    if (direction == "up") return AXAction::scrollUp;
    if (direction == "down") return AXAction::scrollDown;
    if (direction == "left") return AXAction::scrollLeft;
    if (direction == "right") return AXAction::scrollRight;
    return std::nullopt;
}

HTTPResponse scrollBlocking(const AXScrollRequest& request, const std::optional<std::string>& batchId,
                            RequestClient* client) {
    const Target target = locate(request.elementId, batchId);
    if (target.answer) return *target.answer;
    const std::string direction = lowerCased(request.direction);
    const auto action = scrollAction(direction);
    if (!action) {
        constexpr std::string_view hint = "direction must be up, down, left, or right";
        return jsonResponse(400, axErrorResponse(AXErrorCode::invalidInput, hint));
    }
    const double amount = request.amount.value_or(defaultAmount);
    const auto steps = static_cast<int>(std::clamp(amount / amountPerStep, 1.0, maxSteps));
    Accessibility& accessibility = *Platform::current().accessibility;
    for (int step = 0; step < steps; ++step) {
        const bool mustLook = client != nullptr && step > 0 && step % stepsBetweenLooks == 0;
        if (mustLook && client->hasGone()) break;
        if (!succeeded(accessibility.AXUIElementPerformAction(target.element, *action))) break;
    }
    axBumpChangeCounter();
    return jsonResponse(
        200, {{"ok", true}, {"method", "ax_scroll"}, {"direction", direction}, {"amount", amount}});
}

}  // namespace

Task<HTTPResponse> axClick(AXClickRequest request, std::optional<std::string> batchId) {
    const auto work = [&] { return clickBlocking(request, batchId); };
    co_return co_await runBlocking(work);
}

Task<HTTPResponse> axType(AXTypeRequest request, std::optional<std::string> batchId) {
    const auto setValue = [&] { return setValueBlocking(request, batchId); };
    const auto answer = co_await runBlocking(setValue);
    if (answer) co_return *answer;
    co_await typeKeys(std::move(request.text));
    axBumpChangeCounter();
    co_return jsonResponse(200, {{"ok", true}, {"method", "cg_event"}});
}

Task<HTTPResponse> axScroll(AXScrollRequest request, std::optional<std::string> batchId,
                            RequestClient* client) {
    const auto work = [&] { return scrollBlocking(request, batchId, client); };
    co_return co_await runBlocking(work);
}

}  // namespace varkel
