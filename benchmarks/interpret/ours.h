// What the library does with a reply that holds a settings document, but for its files.
#pragma once

#include <optional>
#include <string_view>

#include "qlczephra/value.h"
#include "state/published_state.h"

namespace qlczephra::bench {

class Interpreter {
 public:
  // From the text of a document to the state that reads see; the state that it replaces is freed. False when the text
  // is no document.
  [[nodiscard]] bool run(std::string_view document);

  [[nodiscard]] std::optional<Map> published() const { return state_.tree(); }

 private:
  // What was replaced is freed with reclaimRetired(), within the measured time, and not soon on another thread.
  struct NoWorkers : platform::WorkerQueue {
    void post(platform::Task) override {}
    void postAt(std::chrono::system_clock::time_point, platform::Task) override {}
  };

  NoWorkers workers_;
  PublishedState state_{workers_};
};

}  // namespace qlczephra::bench
