#pragma once

#include <pthread.h>

#include <cstddef>

namespace varkel::test {

/// A shortage of threads: while it lives, none can be started in this process, since each would get a stack
/// that is larger than the address space.
class NoNewThreads {
  public:
    NoNewThreads() {
        ::pthread_getattr_default_np(&before_);
        pthread_attr_t huge;
        ::pthread_attr_init(&huge);
        ::pthread_attr_setstacksize(&huge, std::size_t{1} << 60);
        ::pthread_setattr_default_np(&huge);
        ::pthread_attr_destroy(&huge);
    }
    NoNewThreads(const NoNewThreads&) = delete;
    NoNewThreads& operator=(const NoNewThreads&) = delete;
    ~NoNewThreads() {
        ::pthread_setattr_default_np(&before_);
        ::pthread_attr_destroy(&before_);
    }

  private:
    pthread_attr_t before_{};
};

}  // namespace varkel::test
