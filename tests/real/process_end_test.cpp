// What is left of the library when the process ends: nothing.
#include <unistd.h>

#include <cstdlib>
#include <thread>

#include "tests/real/manager_fixture.h"
#include "tests/support/process_use.h"

namespace qlczephra::test {
namespace {

std::ptrdiff_t threadsBefore = 0;
std::ptrdiff_t descriptorsBefore = 0;

// Runs after the library's own end, since it is registered before the library starts. The kernel may list a thread for
// a moment after it was joined.
void checkWhatIsLeft() {
  std::ptrdiff_t threads = 0;
  std::ptrdiff_t descriptors = 0;
  for (int look = 0; look < 100; ++look) {
    threads = threadsOfProcess() - threadsBefore;
    descriptors = openDescriptors() - descriptorsBefore;
    if (threads == 0 && descriptors == 0) _exit(0);
    std::this_thread::sleep_for(10ms);
  }
  fprintf(stderr, "left: %td threads, %td descriptors\n", threads, descriptors);
  _exit(1);
}

class ProcessEndTest : public RealManagerTest {
 protected:
  // In a child process that runs `story` with a server of its own and ends.
  template <typename Story>
  void endAfter(Story story) {
    server_.stop();
    threadsBefore = threadsOfProcess();
    descriptorsBefore = openDescriptors();
    std::atexit(checkWhatIsLeft);
    {
      service::ServiceServer server(service_);
      if (!server.start()) _exit(6);
      story(server.url());
    }
    std::exit(2);  // checkWhatIsLeft() decides
  }
};

using ProcessEndDeathTest = ProcessEndTest;

TEST_F(ProcessEndDeathTest, LeavesNoThreadAndNoDescriptor) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_EXIT(endAfter([&](const std::string& base) {
                const auto manager = makeManager(1, delegate_, base);
                if (fetch(*manager) != nullptr) _exit(3);
              }),
              testing::ExitedWithCode(0), "");
}

TEST_F(ProcessEndDeathTest, DoesNotWaitForAStalledTransferOrAWaitingRepetition) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  const auto begun = std::chrono::steady_clock::now();
  EXPECT_EXIT(endAfter([&](const std::string& base) {
                service::Fault stalled;
                stalled.count = 1;
                stalled.delay = 30s;
                service_.faults().add({stalled});
                static auto first = makeManager(1, delegate_, base);
                static auto second = makeManager(2, delegate_, base);
                first->fetchRemoteSettings([](const ErrorRef&) { _exit(4); });
                service::Fault tooMany;
                tooMany.status = 429;
                while (service_.log().entries().empty()) std::this_thread::sleep_for(1ms);
                service_.faults().add({tooMany});
                second->fetchRemoteSettings([](const ErrorRef&) { _exit(5); });
                while (service_.log().entries().size() < 2) std::this_thread::sleep_for(1ms);
              }),
              testing::ExitedWithCode(0), "");
  EXPECT_LT(std::chrono::steady_clock::now() - begun, 8s);
}

}  // namespace
}  // namespace qlczephra::test
