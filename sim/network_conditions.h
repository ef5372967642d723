// How a simulated network behaves on the way to the service and back.
#pragma once

#include <chrono>

namespace qlczephra::sim {

struct NetworkConditions {
  // One way; each way is drawn on its own.
  std::chrono::milliseconds shortestLatency{1};
  std::chrono::milliseconds longestLatency{1};

  // Probabilities. A request that is lost never reaches the service; when its reply is lost or broken, or comes too
  // late, the service has carried it out.
  double requestLost = 0;   // the connection ends without a reply
  double replyLost = 0;     // the connection ends without a reply
  double replyBroken = 0;   // the connection ends after the head of the reply
  double replyTooLate = 0;  // nothing comes for as long as the client waits
};

}  // namespace qlczephra::sim
