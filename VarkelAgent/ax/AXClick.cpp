#include <string_view>
#include <utility>
#include <vector>

#include "ax/AXActions.h"
#include "ax/AXError.h"
#include "ax/ActionTarget.h"
#include "ax/Attributes.h"
#include "ax/ChangeCounter.h"
#include "base/BlockingPool.h"
#include "http/JSONResponse.h"
#include "platform/Platform.h"

namespace varkel {

namespace {

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

HTTPResponse clickBlocking(const AXClickRequest& request) {
    const ActionTarget target = locateActionTarget(request.elementId, request.batch_id);
    if (target.answer) return *target.answer;
    Accessibility& accessibility = *Platform::current().accessibility;
    if (accessibility.AXUIElementPerformAction(target.element, AXAction::press) == AXError::success) {
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

}  // namespace

Task<HTTPResponse> axClick(AXClickRequest request) {
    const auto work = [&] { return clickBlocking(request); };
    co_return co_await runBlocking(work);
}

}  // namespace varkel
