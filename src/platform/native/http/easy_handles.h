// Easy handles that wait for their next transfer: making one costs as much as all else that prepares a small transfer.
#pragma once

#include <curl/curl.h>

#include <memory>
#include <vector>

namespace qlczephra::platform {

// Belongs to the network thread, and outlives the handles that are taken from it.
class EasyHandles {
 public:
  struct GiveBack {
    EasyHandles* home = nullptr;
    void operator()(CURL* easy) const noexcept { home->giveBack(easy); }
  };
  using Handle = std::unique_ptr<CURL, GiveBack>;

  EasyHandles() = default;
  ~EasyHandles() { clear(); }
  EasyHandles(const EasyHandles&) = delete;
  EasyHandles& operator=(const EasyHandles&) = delete;

  // One on which nothing is set. Null when memory ran out.
  [[nodiscard]] Handle take();
  // Frees those that wait.
  void clear() noexcept;

 private:
  void giveBack(CURL* easy) noexcept;

  std::vector<CURL*> waiting_;
};

}  // namespace qlczephra::platform
