// A host with one or two managers on the same files of pending changes, the service and the disk they use, all in a
// simulated world, and the invariants that hold for its changes after each step.
//
// The host's process may end at any call; what it did since has then no effect, and restart() begins the next process
// on what is left of the disk. The service and the model of the changes live on. The first violation of an invariant is
// kept; nothing is looked at after it.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "service/service.h"
#include "sim/world.h"
#include "tests/simulation/change_model.h"
#include "tests/support/manager_world.h"

namespace qlczephra::test {

// What goes wrong besides the network's conditions; all of it probabilities.
struct Troubles {
  double refusal = 0;      // the service answers with an error status, in some cases after it did what was asked
  double tagLoss = 0;      // a reply comes without its entity tag
  double hostError = 0;    // the delegate or the URL provider answers with an error
  double hostDelay = 0;    // they answer later, and
  double hostRepeat = 0;   // they answer twice
  double writeInside = 0;  // the host changes a setting inside of a completion
  int status = 0;          // no probability: the service answers every request with it, unless it is 0
  sim::DiskFaults disk;    // of the present process
};

class Stage {
 public:
  static constexpr std::size_t slots = 2;  // places for managers

  explicit Stage(std::uint64_t seed, bool sharedLocalFile = true);
  ~Stage();
  Stage(const Stage&) = delete;
  Stage& operator=(const Stage&) = delete;

  // ---- what the host does; nothing where the slot is empty
  void startManager(std::size_t slot);  // which has the local settings loaded
  void dropManager(std::size_t slot);
  [[nodiscard]] QLCZephraManager* manager(std::size_t slot) { return hosts_[slot].manager.get(); }
  void write(std::size_t slot, std::size_t setting);
  void fetch(std::size_t slot);
  void registerPushId(std::size_t slot);
  void updateLocalSettings(std::size_t slot);

  // ---- what happens to it
  void otherClientWrites();  // another setting at the service, whose entity tag changes
  void step() { world_->step(); }
  void advance(std::chrono::milliseconds time) { world_->advance(time); }
  // Begins the next process if this one has ended, without managers.
  void restartIfEnded();
  // Faults cease and time passes until everything is at rest; then looks at what was reached.
  void comeToRest();

  [[nodiscard]] sim::World& world() noexcept { return *world_; }
  [[nodiscard]] Troubles& troubles() noexcept { return troubles_; }
  [[nodiscard]] const std::optional<std::string>& violation() const noexcept { return violation_; }
  // The histories of all processes so far.
  [[nodiscard]] std::string history() const { return earlierHistory_ + world_->history().text(); }
  // The disk calls at which a process ended, as operation and path.
  [[nodiscard]] const std::set<std::string>& crashPoints() const noexcept { return crashPoints_; }
  [[nodiscard]] std::uint64_t changesWritten() const noexcept { return changesWritten_; }

  // Looks at the invariants.
  void check();

 private:
  void requireNoTokenLogged() const;
  struct Host {
    std::unique_ptr<QLCZephraManager> manager;
    SettingValues written;  // by this manager
  };
  struct CallRecord {
    std::size_t slot;
    std::uint64_t managersBefore;  // which manager of the slot: the number of managers started before
    int completions = 0;
  };
  // What a file of pending changes held when it was last looked at.
  struct FileView {
    std::optional<std::string> content;
    SettingValues values;
  };

  void begin(std::unique_ptr<sim::World> world);
  [[nodiscard]] service::ServiceReply answer(const service::ServiceRequest& request);
  [[nodiscard]] Completion recording(std::size_t slot);
  void answerLaterOrTwice(std::function<void()> answer);
  void violate(std::optional<std::string> what);
  void checkPlaces();
  void checkReads();
  [[nodiscard]] const SettingValues& look(const char* path, FileView& view);
  [[nodiscard]] SettingValues atService();

  sim::Random random_;  // of the host, the service and the faults; the world has its own
  const bool sharedLocalFile_;
  std::shared_ptr<QLCAppInfo> appInfo_;
  std::shared_ptr<HostDelegate> delegate_;
  std::shared_ptr<HostProvider> provider_;
  service::Service service_;
  Troubles troubles_;
  ChangeModel model_;
  std::unique_ptr<sim::World> world_;
  Host hosts_[slots];
  std::deque<CallRecord> calls_;  // of the managers that live
  std::uint64_t managersStarted_ = 0;
  std::uint64_t managerOf_[slots] = {};
  std::uint64_t failedDiskCalls_ = 0;
  std::uint64_t changesWritten_ = 0;
  std::int64_t otherValue_ = 0;
  std::set<std::string> crashPoints_;
  FileView patch_;
  FileView sending_;
  std::optional<std::string> violation_;
  std::string earlierHistory_;
};

}  // namespace qlczephra::test
