#include <algorithm>
#include <string_view>
#include <utility>

#include "ax/AXActions.h"
#include "ax/AXError.h"
#include "ax/ActionTarget.h"
#include "ax/ChangeCounter.h"
#include "base/BlockingPool.h"
#include "base/UnicodeText.h"
#include "http/JSONResponse.h"
#include "platform/Platform.h"

namespace varkel {

namespace {

constexpr double defaultAmount = 100;
constexpr double amountPerStep = 50;
/// Minutes of scrolling; an amount beyond it scrolls as far.
constexpr double maxSteps = 100'000;
/// How often a scroll looks whether the client still waits. Shorter ones are carried out whole, also for a
/// client that has only finished sending.
constexpr int stepsBetweenLooks = 200;

std::optional<AXAction> scrollAction(std::string_view direction) {
    if (direction == "up") return AXAction::scrollUp;
    if (direction == "down") return AXAction::scrollDown;
    if (direction == "left") return AXAction::scrollLeft;
    if (direction == "right") return AXAction::scrollRight;
    return std::nullopt;
}

HTTPResponse scrollBlocking(const AXScrollRequest& request, RequestClient* client) {
    const ActionTarget target = locateActionTarget(request.elementId, request.batch_id);
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
        if (accessibility.AXUIElementPerformAction(target.element, *action) != AXError::success) break;
    }
    axBumpChangeCounter();
    return jsonResponse(
        200, {{"ok", true}, {"method", "ax_scroll"}, {"direction", direction}, {"amount", amount}});
}

}  // namespace

Task<HTTPResponse> axScroll(AXScrollRequest request, RequestClient* client) {
    const auto work = [&] { return scrollBlocking(request, client); };
    co_return co_await runBlocking(work);
}

}  // namespace varkel
