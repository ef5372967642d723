#include "tests/simulation/story.h"

#include <chrono>
#include <utility>

#include "tests/simulation/stage.h"

namespace qlczephra::test {

using std::chrono::milliseconds;

namespace {

class Story {
 public:
  explicit Story(std::uint64_t seed) : random_(seed * 2 + 1), stage_(seed, random_.chance(0.5)) {}

  StoryOutcome tell() {
    givenCircumstances();
    stage_.startManager(0);
    const std::uint64_t events = 10 + random_.below(30);
    for (std::uint64_t i = 0; i < events && !stage_.violation(); ++i) {
      somethingHappens();
      timePasses();
      recover();
    }
    if (!stage_.violation()) stage_.comeToRest();
    return {stage_.violation(), stage_.history(), stage_.crashPoints(), stage_.changesWritten(), processes_};
  }

  void otherThreadWrites() {
    if (std::exchange(otherThreadIsWriting_, true)) return;
    stage_.write(random_.below(Stage::slots), random_.below(settingPaths.size()));
    otherThreadIsWriting_ = false;
  }

 private:
  // A value that is nothing in half of all stories, so that each trouble is also met alone.
  double sometimes(double most) {
    return random_.chance(0.5) ? 0 : most * static_cast<double>(random_.below(100)) / 100;
  }

  void givenCircumstances() {
    Troubles& troubles = stage_.troubles();
    troubles.refusal = sometimes(0.5);
    troubles.tagLoss = sometimes(0.3);
    troubles.hostError = sometimes(0.2);
    troubles.hostDelay = sometimes(0.5);
    troubles.hostRepeat = sometimes(0.2);
    troubles.writeInside = sometimes(0.5);
    badDisk_ = sometimes(0.3);
    sudden_ = sometimes(0.3);
    twoManagers_ = random_.chance(0.5);
    sim::World& world = stage_.world();
    world.network().conditions = {milliseconds(1), milliseconds(1 + random_.below(3000)),
                                  sometimes(0.3),  sometimes(0.3),
                                  sometimes(0.2),  sometimes(0.2)};
    lateness_ = sometimes(0.3);
    world.scheduler().setLateness(lateness_);
  }

  void somethingHappens() {
    const std::size_t slot = twoManagers_ ? random_.below(Stage::slots) : 0;
    stage_.startManager(slot);
    if (random_.chance(sudden_)) theEndIsNear();
    switch (random_.below(16)) {
      default:
        stage_.write(slot, random_.below(settingPaths.size()));
        break;
      case 7:
        stage_.updateLocalSettings(slot);
        break;
      case 8:
      case 9:
        stage_.fetch(slot);
        break;
      case 10:
        stage_.otherClientWrites();
        break;
      case 11:
        tokenChanges(slot);
        break;
      case 12:
        stage_.registerPushId(slot);
        break;
      case 13:
        stage_.dropManager(slot);
        break;
      case 14:
        diskChanges();
        break;
      case 15:
        stage_.world().moveWallClock(milliseconds(random_.below(200'000'000)) - milliseconds(100'000'000));
        break;
    }
  }

  void tokenChanges(std::size_t slot) {
    if (stage_.manager(slot) == nullptr) return;
    if (random_.chance(0.3)) {
      stage_.manager(slot)->setCcrToken("stale");
    } else {
      stage_.manager(slot)->clearCCRToken();
    }
    stage_.check();
  }

  void diskChanges() {
    sim::DiskFaults& disk = stage_.troubles().disk;
    disk = {};
    if (!random_.chance(badDisk_ * 2)) return;
    if (random_.chance(0.5)) {
      disk.full = true;
    } else {
      disk.probability = random_.chance(0.2) ? 1 : 0.3;
    }
  }

  // The process ends between two steps, or at one of its next disk calls.
  void theEndIsNear() {
    const auto how = random_.chance(0.5) ? sim::World::End::killed : sim::World::End::powerCut;
    if (random_.chance(0.2)) {
      stage_.world().end(how);
    } else {
      stage_.world().endAtDiskCall(stage_.world().disk().calls() + 1 + random_.below(25), how);
    }
  }

  void timePasses() {
    switch (random_.below(4)) {
      case 0:
        break;
      case 1:
        stage_.advance(milliseconds(random_.below(10'000)));
        break;
      default:
        for (std::uint64_t steps = random_.below(12); steps > 0; --steps) stage_.step();
        break;
    }
  }

  void recover() {
    if (!stage_.world().hasEnded()) return;
    ++processes_;
    stage_.restartIfEnded();
    stage_.world().scheduler().setLateness(lateness_);
  }

  sim::Random random_;
  Stage stage_;
  double badDisk_ = 0;
  double sudden_ = 0;
  double lateness_ = 0;
  bool twoManagers_ = false;
  bool otherThreadIsWriting_ = false;
  std::uint64_t processes_ = 1;
};

}  // namespace

StoryOutcome tellStory(std::uint64_t seed, const std::function<void(std::function<void()> otherWriter)>& prepare) {
  Story story(seed);
  if (prepare) prepare([&story] { story.otherThreadWrites(); });
  return story.tell();
}

}  // namespace qlczephra::test
