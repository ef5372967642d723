// One story in which the 1st, the 2nd, ... disk call fails, or the process ends there, until it goes through untouched.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>

#include "tests/simulation/stage.h"

namespace qlczephra::test {
namespace {

using std::chrono::seconds;
using End = sim::World::End;

enum class Blow : std::uint8_t { inputOutputError, noSpace, fullFromThenOn, kill, powerCut };

// Strikes at disk call `number` of the process in its turn: the first, or the one after the planned restart.
class FixedStory {
 public:
  FixedStory(Blow blow, int process, std::uint64_t number, std::uint64_t seed)
      : stage_(seed), blow_(blow), process_(process), number_(number) {}

  // Gives what was violated, "none" if nothing was.
  std::string tell() {
    if (process_ == 1) strike();
    run([this] { stage_.startManager(0); });
    run([this] { stage_.fetch(0); });
    run([this] { stage_.write(0, 0); });
    run([this] { stage_.write(0, 1); });
    stage_.otherClientWrites();  // what comes next meets a 412
    run([this] { writeWithoutPause({2, 0, 2}); });
    stage_.troubles().status = 403;
    run([this] { writeWithoutPause({3, 0}); });
    run([this] { stage_.write(0, 3); });
    stage_.troubles().status = 503;
    run([this] { writeWithoutPause({1, 2}); });
    endPlanned();
    if (process_ == 2) strike();
    run([this] { stage_.startManager(0); });
    run([this] { stage_.write(0, 0); });
    stage_.troubles().status = 0;
    run([this] { stage_.write(0, 1); });
    run([this] { stage_.fetch(0); });
    wasStruck_ = wasStruck_ || stage_.world().disk().calls() >= number_;
    stage_.comeToRest();
    return stage_.violation().value_or("none");
  }

  [[nodiscard]] bool wasStruck() const noexcept { return wasStruck_; }
  [[nodiscard]] std::string history() const { return stage_.history(); }

 private:
  void strike() {
    switch (blow_) {
      case Blow::inputOutputError:
        stage_.troubles().disk.numbered[number_] = EIO;
        break;
      case Blow::noSpace:
        stage_.troubles().disk.numbered[number_] = ENOSPC;
        break;
      case Blow::fullFromThenOn:
        stage_.troubles().disk.chosen = [number = number_](const sim::DiskCall& call) {
          return call.number >= number && call.takesSpace() ? ENOSPC : 0;
        };
        break;
      case Blow::kill:
        stage_.world().endAtDiskCall(number_, End::killed);
        break;
      case Blow::powerCut:
        stage_.world().endAtDiskCall(number_, End::powerCut);
        break;
    }
  }

  void writeWithoutPause(std::initializer_list<std::size_t> settings) {
    for (const std::size_t setting : settings) stage_.write(0, setting);
  }

  // An event and what follows from it. A process that ended is started again, and the event is not repeated.
  void run(const std::function<void()>& event) {
    event();
    stage_.advance(seconds(3));
    if (!stage_.world().hasEnded()) return;
    wasStruck_ = true;
    stage_.restartIfEnded();
    stage_.startManager(0);
  }

  void endPlanned() {
    if (process_ == 1) wasStruck_ = wasStruck_ || stage_.world().disk().calls() >= number_;
    stage_.world().end(End::killed);
    stage_.restartIfEnded();
    stage_.troubles().disk = {};
  }

  Stage stage_;
  const Blow blow_;
  const int process_;
  const std::uint64_t number_;
  bool wasStruck_ = false;
};

TEST(EveryOperation, NoChangeIsLostWhicheverDiskCallFailsOrIsTheLast) {
  struct Case {
    Blow blow;
    const char* name;
    std::uint64_t seeds;  // a power cut leaves one of many images
  };
  const Case cases[] = {{Blow::inputOutputError, "an I/O error", 1},
                        {Blow::noSpace, "no space once", 1},
                        {Blow::fullFromThenOn, "no space from then on", 1},
                        {Blow::kill, "killed", 1},
                        {Blow::powerCut, "power cut", 10}};
  constexpr std::uint64_t fewestCalls = 40;
  for (const Case& c : cases) {
    for (const int process : {1, 2}) {
      std::uint64_t number = 0;
      for (bool struck = true; struck;) {
        struck = false;
        ++number;
        for (std::uint64_t seed = 1; seed <= c.seeds; ++seed) {
          FixedStory story(c.blow, process, number, seed);
          ASSERT_EQ(story.tell(), "none")
              << c.name << " at call " << number << " of process " << process << ", seed " << seed << "\n"
              << story.history();
          struck = struck || story.wasStruck();
        }
      }
      std::printf("%s: process %d has %llu disk calls\n", c.name, process, static_cast<unsigned long long>(number - 1));
      EXPECT_GE(number, fewestCalls);
    }
  }
}

}  // namespace
}  // namespace qlczephra::test
