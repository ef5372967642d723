// While an object of it lives, the system has no thread to give.
#pragma once

#include <pthread.h>

#include <cstddef>

namespace qlczephra::test {

// By a default stack that no address space holds. For threads without attributes of their own, which std::thread's are.
class RefusedThreads {
 public:
  RefusedThreads() {
    pthread_getattr_default_np(&before_);
    pthread_attr_t huge;
    pthread_attr_init(&huge);
    pthread_attr_setstacksize(&huge, std::size_t{1} << 48);
    pthread_setattr_default_np(&huge);
    pthread_attr_destroy(&huge);
  }
  ~RefusedThreads() {
    pthread_setattr_default_np(&before_);
    pthread_attr_destroy(&before_);
  }
  RefusedThreads(const RefusedThreads&) = delete;
  RefusedThreads& operator=(const RefusedThreads&) = delete;

 private:
  pthread_attr_t before_;
};

}  // namespace qlczephra::test
