// As much of a machine as the retry policy asks for: random numbers, here from a seed.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include "platform/platform.h"
#include "sim/random.h"

namespace qlczephra::fleet {

class Chance : public platform::Platform {
 public:
  explicit Chance(std::uint64_t seed) noexcept : random_(seed) {}

  // From now on every draw gives `value`.
  void fix(std::uint32_t value) noexcept { fixed_ = value; }

  std::uint32_t secureRandom() override { return fixed_ ? *fixed_ : static_cast<std::uint32_t>(random_.next() >> 32U); }

  std::shared_ptr<platform::SerialQueue> makeSerialQueue(const std::string&) override { isMissing(); }
  platform::WorkerQueue& workers() override { isMissing(); }
  platform::HttpSession& http() override { isMissing(); }
  platform::FileStore& files() override { isMissing(); }
  platform::Log& log() override { isMissing(); }
  std::chrono::steady_clock::time_point monotonicNow() override { isMissing(); }
  std::chrono::system_clock::time_point wallNow() override { isMissing(); }

 private:
  [[noreturn]] static void isMissing() { throw std::logic_error("the retry policy asked for more than chance"); }

  sim::Random random_;
  std::optional<std::uint32_t> fixed_;
};

}  // namespace qlczephra::fleet
