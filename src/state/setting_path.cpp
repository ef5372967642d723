#include "qlczephra/setting_path.h"

#include <atomic>

namespace qlczephra {

namespace {

std::uint64_t nextId() noexcept {
  static std::atomic<std::uint64_t> last{0};
  return last.fetch_add(1, std::memory_order_relaxed) + 1;
}

}  // namespace

SettingPath::SettingPath(std::string_view path) : text_(path), id_(nextId()) {}

}  // namespace qlczephra
