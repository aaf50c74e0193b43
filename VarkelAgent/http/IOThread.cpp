#include "http/IOThread.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/post.hpp>
#include <exception>
#include <span>
#include <utility>

namespace varkel {

namespace asio = boost::asio;

IOThread::IOThread(RequestServer& server, UnauthenticatedConnections* unauthenticated)
    : server_(server),
      work_(asio::make_work_guard(context_)),
      // Not filled with zeros: pages that nothing was received into stay unused.
      scratch_(std::make_unique_for_overwrite<char[]>(scratchSize)),
      unauthenticated_(unauthenticated),
      thread_([this] { context_.run(); }) {}

// Throws only without memory, and then the process may as well end.
IOThread::~IOThread() {  // NOLINT(bugprone-exception-escape)
    finish();
}

void IOThread::adopt(Peer peer) {
    asio::post(context_, [this, peer = std::move(peer)]() mutable { serve(std::move(peer)); });
}

void IOThread::finish() {
    if (!thread_.joinable()) return;
    asio::post(context_, [this] {
        finishing_ = true;
        for (Connection& connection : connections_) connection.close();
        work_.reset();
    });
    thread_.join();
}

/// A connection that cannot be set up is dropped: its peer may be gone already.
void IOThread::serve(Peer peer) {
    if (finishing_) return;
    auto connection = connections_.end();
    try {
        const std::span scratch(scratch_.get(), scratchSize);
        connection =
            connections_.emplace(connection, context_, std::move(peer), server_, scratch, unauthenticated_);
        // An invalid head or a lack of memory ends the connection, without an answer.
        asio::co_spawn(context_, connection->serve(),
                       [this, connection](const std::exception_ptr&) { connections_.erase(connection); });
    } catch (const std::exception&) {
        if (connection != connections_.end()) connections_.erase(connection);
    }
}

}  // namespace varkel
