#pragma once

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/io_context.hpp>
#include <stdexcept>
#include <thread>

#include "http/HTTPServer.h"
#include "support/Deadline.h"

namespace varkel::test {

/// Has a server listen and serve, in threads of its own, until the end of the scope.
class RunningServer {
  public:
    explicit RunningServer(HTTPServer& server) : server_(server) {
        starter_ = std::jthread([this] {
            boost::asio::co_spawn(context_, server_.start(), boost::asio::detached);
            context_.run();
        });
        if (!eventually([this] { return server_.listeningPort() != 0; })) {
            throw std::runtime_error("the server does not listen");
        }
    }
    ~RunningServer() { server_.cancel(); }

  private:
    HTTPServer& server_;
    boost::asio::io_context context_{1};
    std::jthread starter_;
};

}  // namespace varkel::test
