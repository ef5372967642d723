// Memory that runs out once on a thread of the library, at each of its allocations in turn, while a request is made.
#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <new>
#include <string>

#include "tests/real/http_session_fixture.h"

namespace {

std::atomic<int> allocationsLeft{-1};  // on threads of the library, until one fails; negative: none does

bool fails() noexcept {
  if (allocationsLeft < 0) return false;
  char name[16] = {};
  pthread_getname_np(pthread_self(), name, sizeof name);
  return std::strncmp(name, "qlczephra-", 10) == 0 && allocationsLeft-- == 0;
}

}  // namespace

void* operator new(std::size_t size) {
  void* const memory = fails() ? nullptr : std::malloc(size == 0 ? 1 : size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return fails() ? nullptr : std::malloc(size == 0 ? 1 : size);
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}

namespace qlczephra::platform {
namespace {

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
      allocationsLeft = count;
      auto outcome = begin(request);
      ASSERT_EQ(outcome.wait_for(aLot), std::future_status::ready) << "allocation " << count;
      failed = allocationsLeft < 0;
      allocationsLeft = -1;
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
