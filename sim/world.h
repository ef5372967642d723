// A simulated world for one process: clocks, queues, network, disk and log behind the library's platform interface.
//
// Everything runs on the caller's thread, a task at a time, and only when the caller says so; a seed decides the order
// of tasks, delays and faults, so a run can be repeated exactly. What stands outside of steps is the host: it may call
// the library between any two steps, or as a task of its own (onThread()).
//
// The process can end at any moment, also inside a disk call or in the middle of a step. From then on nothing that the
// rest of that step does has an effect: files stay, requests are not sent, no line is logged, no host code is called.
// restart() makes the world of the next process, with what survived of the disk.
//
// The world outlives every manager that was made in it.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "platform/platform.h"
#include "sim/clocks.h"
#include "sim/history.h"
#include "sim/random.h"
#include "sim/scheduler.h"
#include "sim/sim_disk.h"
#include "sim/sim_log.h"
#include "sim/sim_network.h"

namespace qlczephra::sim {

class World : public platform::Platform, private platform::WorkerQueue {
 public:
  explicit World(std::uint64_t seed, DiskImage disk = {});
  ~World() override;
  World(const World&) = delete;
  World& operator=(const World&) = delete;

  // ---- passing time
  // One task, after a jump in time where nothing else is to do. False when there is nothing to do at all, and once the
  // process has ended.
  bool step();
  // Runs what is to do within this time; afterwards so much time has passed. False when the process ended.
  bool advance(std::chrono::milliseconds time);
  // Runs until there is nothing to do any more, however long that takes. Throws std::runtime_error when it does not
  // come to rest.
  void runUntilIdle();
  void moveWallClock(std::chrono::milliseconds by) noexcept { clocks_.moveWall(by); }
  // A task of the host's, on a thread of its own.
  void onThread(const std::string& label, platform::Task task) { scheduler_.run(label, std::move(task)); }
  // Runs after every step; for invariants.
  void afterEachStep(std::function<void()> check) { check_ = std::move(check); }

  // ---- the end of the process
  enum class End : std::uint8_t { killed, powerCut };
  void end(End how);
  // The process ends in place of disk call `number` (SimDisk::calls()).
  void endAtDiskCall(std::uint64_t number, End how);
  [[nodiscard]] bool hasEnded() const noexcept { return ended_; }
  // The next process, on the same network and with the clocks going on. Only after the end.
  [[nodiscard]] std::unique_ptr<World> restart();

  // ---- the parts
  [[nodiscard]] Random& random() noexcept { return random_; }
  [[nodiscard]] const Clocks& clocks() const noexcept { return clocks_; }
  [[nodiscard]] Scheduler& scheduler() noexcept { return scheduler_; }
  [[nodiscard]] SimNetwork& network() noexcept { return network_; }
  [[nodiscard]] SimDisk& disk() noexcept { return disk_; }
  [[nodiscard]] const SimLog& logged() const noexcept { return log_; }
  [[nodiscard]] History& history() noexcept { return history_; }
  // What secureRandom() gives instead of values drawn from the seed; empty: those.
  void setSecureRandom(std::function<std::uint32_t()> source) { secureRandom_ = std::move(source); }
  // Calls into host code that have begun and not ended; 0 between steps.
  [[nodiscard]] int hostCallsRunning() const noexcept { return hostCalls_; }

  // ---- platform::Platform
  std::shared_ptr<platform::SerialQueue> makeSerialQueue(const std::string& label) override;
  platform::WorkerQueue& workers() override { return *this; }
  platform::HttpSession& http() override { return network_; }
  platform::FileStore& files() override { return disk_; }
  platform::Log& log() override { return log_; }
  Clocks::Monotonic monotonicNow() override { return clocks_.monotonic(); }
  Clocks::Wall wallNow() override { return clocks_.wall(); }
  std::uint32_t secureRandom() override;
  bool hostCodeBegins() noexcept override;
  void hostCodeEnds() noexcept override { --hostCalls_; }

 private:
  void post(platform::Task task) override { scheduler_.run(workerLane, std::move(task)); }
  void postAt(Clocks::Wall deadline, platform::Task task) override {
    scheduler_.runAt(workerLane, deadline, std::move(task));
  }
  bool stepUntil(std::chrono::milliseconds limit);

  static constexpr const char* workerLane = "worker";

  Random random_;
  Clocks clocks_;
  History history_;
  Scheduler scheduler_;
  SimNetwork network_;
  SimDisk disk_;
  SimLog log_;
  std::function<std::uint32_t()> secureRandom_;
  std::function<void()> check_;
  int hostCalls_ = 0;
  bool ended_ = false;
  DiskImage survived_;
};

}  // namespace qlczephra::sim
