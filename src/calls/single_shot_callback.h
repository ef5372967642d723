// Callbacks that the host is asked to call once.
#pragma once

#include <atomic>
#include <memory>
#include <optional>
#include <utility>

namespace qlczephra {

// Wraps `callback` so that only its first call counts, whichever thread makes it. Copies count as one. What it captured
// is freed with the first call, however long the host keeps its copy.
template <typename Callback>
[[nodiscard]] auto singleShot(Callback callback) {
  struct State {
    std::atomic<bool> called{false};
    std::optional<Callback> callback;
  };
  auto state = std::make_shared<State>();
  state->callback.emplace(std::move(callback));
  return [state = std::move(state)](auto&&... arguments) {
    if (state->called.exchange(true)) return;
    const Callback once = std::move(*state->callback);
    state->callback.reset();
    once(std::forward<decltype(arguments)>(arguments)...);
  };
}

}  // namespace qlczephra
