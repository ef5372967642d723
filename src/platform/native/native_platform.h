// The machine that this process runs on, behind the platform interfaces.
#pragma once

#include <memory>

#include "platform/native/files/native_file_store.h"
#include "platform/native/http/curl_http_session.h"
#include "platform/native/threads/worker_pool.h"
#include "platform/platform.h"

namespace qlczephra::platform {

// Starts its threads, two workers and the network, with their first work. The object itself lives as long as the
// process, since host code may still be inside a call of it at the end; stop() ends all that it runs.
class NativePlatform : public Platform {
 public:
  NativePlatform();

  std::shared_ptr<SerialQueue> makeSerialQueue(const std::string& label) override;
  WorkerQueue& workers() override { return *pool_; }
  HttpSession& http() override { return http_; }
  FileStore& files() override { return files_; }
  Log& log() override;
  std::chrono::steady_clock::time_point monotonicNow() override { return std::chrono::steady_clock::now(); }
  std::chrono::system_clock::time_point wallNow() override { return std::chrono::system_clock::now(); }
  std::uint32_t secureRandom() override;
  bool barrierOnAllThreads() noexcept override;
  bool hostCodeBegins() noexcept override { return pool_->hostCodeBegins(); }
  void hostCodeEnds() noexcept override { pool_->hostCodeEnds(); }

  // Waits for no network, no name resolution and no host code. What comes afterwards is dropped.
  void stop();

 protected:
  // For another HTTP session on the same workers.
  [[nodiscard]] NativeHttpEnvironment httpEnvironment() const { return httpEnvironmentOn(pool_); }

 private:
  const std::shared_ptr<WorkerPool> pool_;
  CurlHttpSession http_;
  NativeFileStore files_;
};

}  // namespace qlczephra::platform
