#pragma once

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "base/Task.h"
#include "mcp/Call.h"
#include "mcp/Message.h"

namespace varkel::mcp {

/// The longest line that is read, in bytes.
inline constexpr std::size_t longestLine = 4 * 1024 * 1024;
/// How many calls may be under way at once.
inline constexpr std::size_t mostCalls = 64;

/// What a tool answers.
struct ToolResult {
    /// For the assistant to read.
    std::string text;
    /// A PNG in base64; absent when the answer has no image.
    std::optional<std::string> image;
    boost::json::object structured;
};

/// The tools that a server offers. Used on the executor's thread only.
class ToolBox {
  public:
    virtual ~ToolBox() = default;
    /// The tools as the protocol lists them, always in the same order.
    virtual boost::json::array list() const = 0;
    virtual bool has(std::string_view name) const = 0;
    /// Carries a call of a tool out that there is. Throws ToolError, Cancelled.
    virtual Task<ToolResult> call(std::string name, boost::json::object arguments, Call& call) = 0;
};

/// Serves the Model Context Protocol to one client, message by message: revision 2026-07-28 for requests that
/// carry it in their _meta, and 2025-11-25 and older ones after `initialize`. Used on the executor's thread
/// only.
class Server {
  public:
    using Send = std::function<void(const std::string& line)>;

    /// `send` takes each line that goes out, without its line feed.
    Server(boost::asio::any_io_executor executor, ToolBox& tools, Send send);

    void receive(std::string_view line);
    /// Instead of a line that was too long to be read.
    void refuseLongLine();
    /// Calls `done` once nothing is under way any more. To be called when no more lines will come.
    void finish(std::function<void()> done);

  private:
    enum class Era { legacy, modern };
    struct OpenCall;

    void dispatch(Request request);
    void receiveNotification(const Request& notification);
    Era eraOf(const Request& request) const;
    void checkMeta(const Request& request) const;
    boost::json::object answer(const Request& request, Era era);
    boost::json::object initialize(const Request& request);
    boost::json::object discover() const;
    boost::json::object listTools(const Request& request, Era era) const;
    void startCall(Request request, Era era);
    Task<void> runCall(std::shared_ptr<OpenCall> open, std::string name, boost::json::object arguments);
    void scheduleProgress(const std::shared_ptr<OpenCall>& open);
    void endCall(OpenCall& open);
    void sendResult(const boost::json::value& id, boost::json::object result, Era era);

    boost::asio::any_io_executor executor_;
    ToolBox& tools_;
    Send send_;
    bool initialized_ = false;
    /// By the id as JSON text.
    std::map<std::string, std::shared_ptr<OpenCall>> open_;
    std::function<void()> done_;
};

}  // namespace varkel::mcp
