// Whatever a host does and whatever befalls it, no accepted change is lost, no completion runs twice, and all comes to
// rest. The input: a seed for what the input does not decide, and operations of two bytes each.
#include <cerrno>
#include <cstdio>

#include "fuzz/require.h"
#include "tests/simulation/stage.h"

namespace qlczephra::fuzz {
namespace {

using std::chrono::milliseconds;
using test::Stage;

constexpr std::size_t mostOperations = 100;

double oneIn(unsigned choice) {
  constexpr double probabilities[] = {0, 0, 0.1, 0.5};
  return probabilities[choice % 4];
}

void changeTroubles(Stage& stage, std::uint8_t detail) {
  test::Troubles& troubles = stage.troubles();
  double* const all[] = {&troubles.refusal,   &troubles.tagLoss,    &troubles.hostError,
                         &troubles.hostDelay, &troubles.hostRepeat, &troubles.writeInside};
  *all[detail / 4 % std::size(all)] = oneIn(detail);
}

void changeConditions(Stage& stage, std::uint8_t detail) {
  sim::NetworkConditions& conditions = stage.world().network().conditions;
  double* const all[] = {&conditions.requestLost, &conditions.replyLost, &conditions.replyBroken,
                         &conditions.replyTooLate};
  *all[detail / 4 % std::size(all)] = oneIn(detail);
  conditions.longestLatency = milliseconds(detail < 128 ? 1 : detail * 20);
}

// None that tells a client that its change arrived.
void changeStatus(Stage& stage, std::uint8_t detail) {
  constexpr int statuses[] = {0, 100, 300, 302, 305, 400, 401, 403, 404, 412, 418, 422, 429, 500, 503, 504};
  stage.troubles().status = statuses[detail % std::size(statuses)];
}

void changeDisk(Stage& stage, std::uint8_t detail) {
  sim::DiskFaults& disk = stage.troubles().disk;
  const std::uint64_t next = stage.world().disk().calls() + 1;
  switch (detail % 4) {
    case 0:
      disk = {};
      break;
    case 1:
      disk.full = true;
      break;
    case 2:
      disk.probability = oneIn(detail / 4U);
      break;
    default:
      disk.numbered[next + detail / 8U] = detail % 8 < 4 ? EIO : ENOSPC;
      break;
  }
}

void endProcess(Stage& stage, std::uint8_t detail) {
  const auto how = detail % 2 == 0 ? sim::World::End::killed : sim::World::End::powerCut;
  if (detail < 32) {
    stage.world().end(how);
  } else {
    stage.world().endAtDiskCall(stage.world().disk().calls() + 1 + detail / 8U, how);
  }
}

void changeToken(Stage& stage, std::size_t slot, std::uint8_t detail) {
  QLCZephraManager* manager = stage.manager(slot);
  if (manager == nullptr) return;
  if (detail < 128) {
    manager->clearCCRToken();
  } else {
    manager->setCcrToken("stale");
  }
  stage.check();
}

void perform(Stage& stage, std::uint8_t operation, std::uint8_t detail) {
  const std::size_t slot = detail % Stage::slots;
  switch (operation % 16) {
    default:
      stage.startManager(slot);
      stage.write(slot, detail / 2U % test::settingPaths.size());
      break;
    case 1:
      stage.startManager(slot);
      stage.fetch(slot);
      break;
    case 2:
      stage.registerPushId(slot);
      break;
    case 3:
      stage.updateLocalSettings(slot);
      break;
    case 4:
      stage.dropManager(slot);
      break;
    case 5:
      stage.otherClientWrites();
      break;
    case 6:
      for (int steps = 0; steps <= detail % 32; ++steps) stage.step();
      break;
    case 7:
      stage.advance(milliseconds(std::int64_t{detail} * detail * detail));
      break;
    case 8:
      changeStatus(stage, detail);
      break;
    case 9:
      changeDisk(stage, detail);
      break;
    case 10:
      endProcess(stage, detail);
      break;
    case 11:
      changeToken(stage, slot, detail);
      break;
    case 12:
      stage.world().moveWallClock(std::chrono::hours(100) * (detail - 128));
      break;
    case 13:
      changeConditions(stage, detail);
      break;
    case 14:
      changeTroubles(stage, detail);
      break;
  }
}

void requireOrder(const Stage& stage) {
  if (!stage.violation()) return;
  std::fprintf(stderr, "%s%s\n", stage.history().c_str(), stage.violation()->c_str());
  require(false);
}

}  // namespace
}  // namespace qlczephra::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace qlczephra;
  if (size == 0) return 0;
  test::Stage stage(data[0], data[0] % 2 == 0);
  stage.startManager(0);
  for (std::size_t i = 1; i + 1 < size && i / 2 < fuzz::mostOperations; i += 2) {
    fuzz::perform(stage, data[i], data[i + 1]);
    fuzz::requireOrder(stage);
    stage.restartIfEnded();
  }
  stage.comeToRest();
  fuzz::requireOrder(stage);
  return 0;
}
