// All that the library needs of the machine, in one object: the real one, or a simulated world.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "platform/file_store.h"
#include "platform/http_session.h"
#include "platform/log.h"
#include "platform/queue.h"

namespace qlczephra::platform {

class Platform {
 public:
  virtual ~Platform() = default;

  // The label is for people who look at the process.
  virtual std::shared_ptr<SerialQueue> makeSerialQueue(const std::string& label) = 0;
  virtual WorkerQueue& workers() = 0;
  virtual HttpSession& http() = 0;
  virtual FileStore& files() = 0;
  virtual Log& log() = 0;

  virtual std::chrono::steady_clock::time_point monotonicNow() = 0;
  virtual std::chrono::system_clock::time_point wallNow() = 0;
  // Uniform over the whole range, from a secure source. Never fails.
  virtual std::uint32_t secureRandom() = 0;

  // Makes every thread of the process pass a full memory barrier. Returns false where the machine has no such call.
  virtual bool barrierOnAllThreads() noexcept { return false; }

  // Bracket every call into host code, so that a host that blocks does not use up the worker threads. False when the
  // process is ending: the call is then not to be made, and not to be ended.
  virtual bool hostCodeBegins() noexcept { return true; }
  virtual void hostCodeEnds() noexcept {}
};

// The machine that this process runs on. Made on first use.
Platform& nativePlatform();

}  // namespace qlczephra::platform
