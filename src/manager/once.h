// Callbacks that the host is asked to call once.
#pragma once

#include <atomic>
#include <memory>
#include <utility>

namespace qlczephra {

// Wraps `callback` so that only its first call counts, whichever thread makes it. Copies count as one.
template <typename Callback>
[[nodiscard]] auto onlyOnce(Callback callback) {
  return [called = std::make_shared<std::atomic<bool>>(false), callback = std::move(callback)](auto&&... arguments) {
    if (!called->exchange(true)) callback(std::forward<decltype(arguments)>(arguments)...);
  };
}

}  // namespace qlczephra
