// Memory that runs out once on a thread of the library, at each of its allocations in turn, while a request is made.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>

#include "tests/real/http_session_fixture.h"
#include "tests/real/memory/failing_allocations.h"

namespace qlczephra::platform {
namespace {

using test::libraryAllocationsLeft;

struct Trusting : QLCPMCertificatesHandler {
  void evaluate(const ServerTrust&, std::function<void(TrustDecision)> decide) override {
    decide(TrustDecision::performDefaultHandling);
  }
};

class HttpMemory : public TlsSessionTest {
 protected:
  // Makes a request with each allocation failing once, and another one when there is memory again.
  void failEachAllocation(const HttpRequest& request) {
    bool failed = true;
    int count = 0;
    for (; failed && count < 2000; ++count) {
      session_.reset();
      workers_->stop();
      workers_ = WorkerPool::make();
      // With threads that are there already: those of the library are told by their names.
      exchange(get("http://127.0.0.1:1/"));
      libraryAllocationsLeft = count;
      auto outcome = begin(request);
      ASSERT_EQ(outcome.wait_for(aLot), std::future_status::ready) << "allocation " << count;
      failed = libraryAllocationsLeft < 0;
      libraryAllocationsLeft = -1;
      const HttpOutcome later = exchange(request);
      ASSERT_EQ(statusOf(later), 200) << "allocation " << count << ": " << later.failure.value_or("");
    }
    EXPECT_GE(count, 10);
    EXPECT_LT(count, 2000);
  }
};

TEST_F(HttpMemory, ARequestEndsWhateverAllocationFails) {
  const RawServer plain(test::answering(test::okReply(std::string(5000, 'x'))));
  const RawServer secure(test::answering(test::okReply()), authority_.issue());
  const auto handler = std::make_shared<Trusting>();
  const std::pair<const char*, HttpRequest> cases[] = {
      {"plain", patch(plain.url("/", "localhost"), std::string(5000, 'y'))},
      {"trusted certificates", get(secure.url())},
      {"certificates handler", judgedBy(get(secure.url()), handler)},
  };
  for (const auto& [name, request] : cases) {
    SCOPED_TRACE(name);
    failEachAllocation(impatient(request, 300ms));
  }
}

}  // namespace
}  // namespace qlczephra::platform
