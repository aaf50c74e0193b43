#pragma once

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/steady_timer.hpp>

#include "base/Task.h"

namespace varkel {

/// Something that happens once and that coroutines of one executor wait for. Used on the executor's thread
/// only.
class Event {
  public:
    explicit Event(const boost::asio::any_io_executor& executor)
        : timer_(executor, boost::asio::steady_timer::time_point::max()) {}

    boost::asio::any_io_executor executor() { return timer_.get_executor(); }

    /// It has happened: resumes all that wait now, and none that comes later waits.
    void set();

    /// Returns once it has happened.
    Task<void> wait();

  private:
    bool isSet_ = false;
    /// Never expires; its cancellation resumes the waiting.
    boost::asio::steady_timer timer_;
};

}  // namespace varkel
