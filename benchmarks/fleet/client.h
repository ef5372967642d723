// What one client does after a reply: the library's own retry policy, and two others to hold against it.
#pragma once

#include <cstdint>

#include "platform/platform.h"
#include "transport/status_handling.h"

namespace qlczephra::fleet {

enum class Policy : std::uint8_t {
  library,     // what a manager does
  fixedDelay,  // the same wait after every failure
  unjittered,  // the library's back-off with every draw at its upper end, also after a 429
};

struct Step {
  enum class Kind : std::uint8_t { succeeded, repeats, gaveUp };
  Kind kind = Kind::succeeded;
  std::int64_t wait = 0;  // seconds; of `repeats`
};

class Client {
 public:
  static constexpr std::int64_t fixedWait = 30;  // seconds; of Policy::fixedDelay

  // `chance` outlives the object. For Policy::unjittered it is to give the largest value always.
  explicit Client(platform::Platform& chance) : handling_(chance) {}

  // A status of 0: there was no reply.
  Step hear(int status, Policy policy);

  bool hasDocument = false;  // and names it by its tag
  bool hasRecovered = false;

 private:
  StatusHandling handling_;
};

}  // namespace qlczephra::fleet
