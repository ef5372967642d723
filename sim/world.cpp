#include "sim/world.h"

#include <stdexcept>
#include <utility>

namespace qlczephra::sim {

using std::chrono::milliseconds;

World::World(std::uint64_t seed, DiskImage disk)
    : random_(seed),
      history_(clocks_),
      scheduler_(random_, clocks_, history_),
      network_(scheduler_, random_, clocks_, history_),
      disk_(std::move(disk), random_, history_),
      log_(history_) {}

World::~World() {
  scheduler_.stop();
}

bool World::stepUntil(milliseconds limit) {
  if (ended_ || !scheduler_.step(limit)) return false;
  if (check_) check_();
  return true;
}

bool World::step() {
  return stepUntil(Scheduler::forever);
}

bool World::advance(milliseconds time) {
  const milliseconds until = clocks_.elapsed() + time;
  while (stepUntil(until)) {
  }
  if (ended_) return false;
  clocks_.passUntil(until);
  return true;
}

void World::runUntilIdle() {
  constexpr int tooManySteps = 1'000'000;
  for (int steps = 0; step(); ++steps) {
    if (steps == tooManySteps) throw std::runtime_error("the simulated world does not come to rest");
  }
}

void World::end(End how) {
  if (std::exchange(ended_, true)) return;
  history_.note("process", how == End::killed ? "is killed" : "ends with the power");
  survived_ = how == End::killed ? disk_.afterKill() : disk_.afterPowerCut();
  disk_.stop();
  network_.stop();
  scheduler_.stop();
  log_.stop();
}

void World::endAtDiskCall(std::uint64_t number, End how) {
  disk_.atCall(number, [this, how] { end(how); });
}

std::unique_ptr<World> World::restart() {
  if (!ended_) throw std::logic_error("the process has not ended");
  auto next = std::make_unique<World>(random_.next(), std::move(survived_));
  next->clocks_ = clocks_;
  next->network_.connectTo(network_.service());
  next->network_.conditions = network_.conditions;
  return next;
}

std::shared_ptr<platform::SerialQueue> World::makeSerialQueue(const std::string& label) {
  return scheduler_.makeQueue(label);
}

std::uint32_t World::secureRandom() {
  return secureRandom_ ? secureRandom_() : static_cast<std::uint32_t>(random_.next());
}

bool World::hostCodeBegins() noexcept {
  if (ended_) return false;
  ++hostCalls_;
  return true;
}

}  // namespace qlczephra::sim
