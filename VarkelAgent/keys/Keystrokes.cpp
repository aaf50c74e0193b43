#include "keys/Keystrokes.h"

#include <algorithm>
#include <boost/json/object.hpp>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "base/BlockingPool.h"
#include "base/Graphemes.h"
#include "base/UnicodeText.h"
#include "http/FailureTable.h"
#include "http/JSONResponse.h"
#include "keys/KeyEvents.h"
#include "keys/TerminalScript.h"
#include "platform/Platform.h"

namespace varkel {

namespace {

using std::chrono::milliseconds;

constexpr std::int64_t defaultDelay = 12;
constexpr std::int64_t shortestDelay = 1;
constexpr std::int64_t longestDelay = 250;

enum class Method { applescript, cgevent };

const char* methodName(Method method) {
    return method == Method::applescript ? "applescript" : "cgevent";
}

Method chooseMethod(const SendKeystrokesRequest& request, const std::string& target) {
    const std::string mode = lowerCased(request.mode.value_or("auto"));
    if (mode == "applescript") return Method::applescript;
    if (mode == "cgevent") return Method::cgevent;
    const bool hasText = request.text && !request.text->empty();
    return hasText && isTerminalBundleId(target) ? Method::applescript : Method::cgevent;
}

/// Posting may wait for the desktop, so it happens where blocking is allowed.
Task<void> post(std::optional<CGEvent> event) {
    if (!event) co_return;
    const auto work = [posted = *std::move(event)] { Platform::current().eventPoster->CGEventPost(posted); };
    co_await runBlocking(work);
}

/// One delivery: its pacing and how it waits.
class Delivery {
  public:
    Delivery(milliseconds delay, Sleeper sleep) : delay_(delay), sleep_(std::move(sleep)) {}

    Task<void> press(KeyEvents events) {
        co_await post(std::move(events.down));
        co_await sleep_(std::chrono::nanoseconds(delay_) / 2);
        co_await post(std::move(events.up));
        co_await sleep_(delay_);
    }

    Task<void> type(std::string text) {
        if (text.empty()) co_return;
        EventPoster& poster = *Platform::current().eventPoster;
        std::vector<std::string_view> characters;
        const auto announce = [&] {
            characters = graphemeClusters(text);
            return poster.announceText(text);
        };
        auto announcement = co_await runBlocking(announce);
        for (const std::string_view character : characters) {
            KeyEvents events = eventsForCharacter(poster, character);
            co_await press(std::move(events));
        }
        const auto withdraw = [&] { announcement.reset(); };
        co_await runBlocking(withdraw);
    }

    /// Presses the chords in order. The first one that names no key ends it and is returned, or is skipped.
    enum class Unknown { skip, stop };
    Task<std::optional<std::string>> pressKeys(std::vector<std::string> tokens, Unknown unknown) {
        EventPoster& poster = *Platform::current().eventPoster;
        for (const std::string& token : tokens) {
            if (const auto key = tokenToKeyPress(token)) {
                KeyEvents events = eventsForKeyPress(poster, *key);
                co_await press(std::move(events));
            } else if (unknown == Unknown::stop) {
                co_return token;
            }
        }
        co_return std::nullopt;
    }

  private:
    milliseconds delay_;
    Sleeper sleep_;
};

/// The answer that ends the request, or nothing when everything was delivered.
Task<std::optional<HTTPResponse>> deliverByScript(SendKeystrokesRequest request, std::string target,
                                                  Delivery& delivery) {
    auto script = appleScriptForTerminal(target, request.text.value_or(""));
    if (!script) {
        co_return jsonResponse(
            400, boost::json::object{{"error", "unsupported_applescript_target"}, {"bundle_id", target}});
    }
    const auto run = [source = *std::move(script)] { return runOsa(source); };
    const OsaResult result = co_await runBlocking(run, BlockingPool::forChildren());
    if (result.status != 0) {
        co_return jsonResponse(500, boost::json::object{{"error", "applescript_failed"},
                                                        {"stderr", result.standardError},
                                                        {"stdout", result.standardOutput}});
    }
    auto keys = std::move(request.keys).value_or(std::vector<std::string>());
    co_await delivery.pressKeys(std::move(keys), Delivery::Unknown::skip);
    co_return std::nullopt;
}

Task<std::optional<HTTPResponse>> deliverByEvents(SendKeystrokesRequest request, Delivery& delivery) {
    auto text = std::move(request.text).value_or("");
    auto keys = std::move(request.keys).value_or(std::vector<std::string>());
    co_await delivery.type(std::move(text));
    const auto unknown = co_await delivery.pressKeys(std::move(keys), Delivery::Unknown::stop);
    if (!unknown) co_return std::nullopt;
    co_return jsonResponse(400, boost::json::object{{"error", "unknown_key"}, {"token", *unknown}});
}

}  // namespace

Task<HTTPResponse> sendKeystrokes(SendKeystrokesRequest request, Sleeper sleep) {
    const milliseconds delay(
        std::clamp(request.delay_ms.value_or(defaultDelay), shortestDelay, longestDelay));
    const auto count = [&] { return graphemeClusters(request.text.value_or("")).size(); };
    const std::size_t characters = co_await runBlocking(count);
    const std::size_t keys = request.keys ? request.keys->size() : 0;
    if (characters == 0 && keys == 0) co_return badRequestResponse("text or keys required");

    const auto activation = co_await activateApp(request.app_bundle_id, request.app_name, sleep);
    if (request.app_bundle_id && !activation.ok) {
        co_return jsonResponse(
            404, boost::json::object{{"error", "app_not_found"}, {"bundle_id", *request.app_bundle_id}});
    }
    const std::string target = activation.resolvedBundle.value_or(request.app_bundle_id.value_or(""));
    const Method method = chooseMethod(request, target);

    Delivery delivery(delay, std::move(sleep));
    std::optional<HTTPResponse> failure;
    if (method == Method::applescript) {
        failure = co_await deliverByScript(std::move(request), target, delivery);
    } else {
        failure = co_await deliverByEvents(std::move(request), delivery);
    }
    if (failure) co_return *std::move(failure);
    co_return jsonResponse(200, boost::json::object{{"ok", true},
                                                    {"method", methodName(method)},
                                                    {"app", target},
                                                    {"chars", characters},
                                                    {"keys", keys}});
}

}  // namespace varkel
