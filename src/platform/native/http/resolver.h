// Host names to addresses without holding up anybody.
//
// getaddrinfo can be stuck for longer than anybody wants to wait and cannot be interrupted. So each lookup runs on a
// detached thread that holds nothing but memory; one that is stuck outlives even the end of the session, harmlessly.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/native/threads/loop_queue.h"

namespace qlczephra::platform {

struct LookUpResult {
  std::vector<std::string> addresses;  // numeric, in the order of preference; empty: `failure` says why
  std::string failure;
};

// Called on a thread of its own; may block, throws only std::bad_alloc.
using LookUp = std::function<LookUpResult(const std::string& host, std::uint16_t port)>;

// The system's: files, DNS and whatever else is set up for getaddrinfo.
LookUpResult systemLookUp(const std::string& host, std::uint16_t port);

// Belongs to the network thread, on which its callbacks run too.
class Resolver {
 public:
  using Callback = std::function<void(const LookUpResult&)>;  // must not throw

  Resolver(LookUp lookUp, std::shared_ptr<LoopQueue> loopQueue);

  // Calls back at once with an answer that is less than a minute old, else when the lookup is done. Callers that ask
  // for the same host and port share one lookup.
  void resolve(const std::string& host, std::uint16_t port, Callback callback);

 private:
  using Name = std::pair<std::string, std::uint16_t>;
  struct Entry {
    LookUpResult result;
    std::chrono::steady_clock::time_point expires;  // of the result
    bool underWay = false;
    std::vector<Callback> callbacks;
  };

  void startLookUps() noexcept;
  // Throws std::system_error when the system has no thread to give, and std::bad_alloc.
  void startLookUp(const Name& name);
  // `failure` is why there is no address where the result does not say.
  void finish(const Name& name, LookUpResult result, const char* failure) noexcept;

  const std::shared_ptr<const LookUp> lookUp_;
  const std::shared_ptr<LoopQueue> loopQueue_;
  std::map<Name, Entry> entries_;
  std::deque<Name> waiting_;
  std::size_t threads_ = 0;
};

}  // namespace qlczephra::platform
