#pragma once

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <list>
#include <memory>
#include <thread>

#include "http/Connection.h"

namespace varkel {

/// A thread with its own event loop and the connections that it serves. No other thread touches them, so
/// nothing about them is locked.
class IOThread {
  public:
    /// With `unauthenticated` its connections count among them until the server takes them over.
    explicit IOThread(RequestServer& server, UnauthenticatedConnections* unauthenticated = nullptr);
    IOThread(const IOThread&) = delete;
    IOThread& operator=(const IOThread&) = delete;
    ~IOThread();  // NOLINT(bugprone-exception-escape)

    boost::asio::io_context& context() { return context_; }

    /// Serves a peer. Any thread.
    void adopt(Peer peer);

    /// Closes the connections and waits until their requests have come to an end. Not on this thread.
    void finish();

  private:
    void serve(Peer peer);

    static constexpr std::size_t scratchSize = 65'536;

    RequestServer& server_;
    boost::asio::io_context context_{1};
    boost::asio::executor_work_guard<boost::asio::io_context::executor_type> work_;
    std::unique_ptr<char[]> scratch_;
    UnauthenticatedConnections* const unauthenticated_;
    std::list<Connection> connections_;
    /// Whether connections that still come are dropped. Used on the thread only.
    bool finishing_ = false;
    std::thread thread_;
};

}  // namespace varkel
