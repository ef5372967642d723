// The world in which the demonstration takes place, and the steps that it is made of.
#pragma once

#include <chrono>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/mutex.h"
#include "service/http_server.h"
#include "tools/connection_options.h"
#include "tools/log_follower.h"
#include "tools/temporary_directory.h"

namespace qlczephra::tools::demo {

// The waits that the library announced before it repeated a request. Threads: any.
class WaitRecord {
 public:
  void take(const LogLine& line);
  [[nodiscard]] std::vector<int> seconds() const;

 private:
  mutable platform::Mutex mutex_;
  std::vector<int> seconds_ QLCZ_GUARDED_BY(mutex_);
};

// A stand-in service with the sample document, a directory of its own for the manager's files, and a manager.
class World {
 public:
  static constexpr const char* product = "corlane";

  explicit World(const LogOptions& log);
  ~World();  // stops the service, removes the directory
  World(const World&) = delete;
  World& operator=(const World&) = delete;

  // The service listens on a free loopback port and accepts one token.
  void startService();
  void stopService();

  // A manager as after a start of the host: nothing in memory, the same two files as the one before it.
  void startManager();
  [[nodiscard]] QLCZephraManager& manager() { return *host_->manager; }

  void fetch();

  [[nodiscard]] service::Service& service() { return service_; }
  [[nodiscard]] std::string url() const { return url_; }
  [[nodiscard]] std::string localFile() const { return directory_.path() + "/zephra-501.plist"; }
  [[nodiscard]] std::string patchFile() const { return directory_.path() + "/patch-501.plist"; }
  [[nodiscard]] std::vector<int> waits() const { return waits_->seconds(); }

 private:
  std::shared_ptr<LogFollower> log_;
  std::shared_ptr<WaitRecord> waits_;
  const TemporaryDirectory directory_;
  service::Service service_;
  std::optional<service::ServiceServer> server_;
  std::string url_;
  std::optional<Host> host_;
};

// Prints one line of what a step sees.
void show(const std::string& line);

// Prints what the service was asked, and its answer.
void showRequest(const service::LoggedRequest& entry);

// Ends the demonstration with a Failure when what a step claims is not so.
void claim(bool holds, const std::string& what);

struct Step {
  const char* title;
  void (*run)(World& world);  // shows what happens, and claims it
};

// In the order in which they are told; each goes on from the world that the one before has left.
[[nodiscard]] std::span<const Step> steps();

}  // namespace qlczephra::tools::demo
