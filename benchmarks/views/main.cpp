// All policy records of a host, made from its settings: 20 firewall profiles of 50 rules, 3,000 sites and all else.
#include <benchmark/benchmark.h>

#include <memory>
#include <optional>

#include "benchmarks/support/require.h"
#include "qlczephra/qlczephra.h"
#include "tests/policy/large_settings.h"
#include "tests/policy/plain_settings.h"

namespace qlczephra::bench {

namespace {

struct Host : QLCZephraAuthenticationDelegate, QLCServicesURLsProviderProtocol {
  void getCCRCredentials(CredentialsCallback) override {}
  void getURLForService(std::uint64_t, URLCallback) override {}
  void respondToChallenge(const ServerTrust&, ChallengeCallback) override {}
};

// What all nine views give. A copy of it is the least that its lists and strings cost, with nothing to look up.
struct Records {
  explicit Records(const QLCZephraManager& manager)
      : timeLimits(manager.timeLimits()),
        curfew(manager.curfew()),
        quota(manager.quota()),
        browsingProtection(manager.browsingProtection()),
        contentCategories(manager.contentCategories()),
        schedule(manager.schedule()),
        pmProxySettings(manager.pmProxySettings()),
        firewall(manager.firewall()),
        vort2ProxySettings(manager.vort2ProxySettings()) {}

  [[nodiscard]] bool areComplete() const {
    return curfew && quota && schedule && pmProxySettings && vort2ProxySettings && contentCategories &&
           browsingProtection && firewall.profiles().size() == test::profileCount &&
           browsingProtection->whitelist().size() + browsingProtection->blacklist().size() == test::siteCount;
  }

  QLTimeLimits timeLimits;
  std::optional<QLCurfew> curfew;
  std::optional<QLQuota> quota;
  std::optional<QLCBrowsingProtection> browsingProtection;
  std::optional<QLContentCategories> contentCategories;
  std::optional<QLCSchedule> schedule;
  std::optional<QLCPMProxySettings> pmProxySettings;
  QLCFirewall firewall;
  std::optional<QLCVORT2Settings> vort2ProxySettings;
};

}  // namespace

}  // namespace qlczephra::bench

int main(int argc, char** argv) {
  using namespace qlczephra;
  constexpr int otherSettings = 5'000;
  const auto host = std::make_shared<bench::Host>();
  QLCZephraManager manager(std::make_shared<QLCAppInfo>("p", "benchmark/1"), host, host);
  manager.setCurrentSettings(test::treeFor(test::largeSettings(otherSettings)));
  const bench::Records finished(manager);
  bench::require(finished.areComplete(), "a view gives too little");

  ::benchmark::RegisterBenchmark("views/ours", [&](::benchmark::State& state) {
    for (auto _ : state) ::benchmark::DoNotOptimize(bench::Records(manager));
  });
  ::benchmark::RegisterBenchmark("views/copying the finished records", [&](::benchmark::State& state) {
    for (auto _ : state) ::benchmark::DoNotOptimize(bench::Records(finished));
  });
  ::benchmark::Initialize(&argc, argv);
  ::benchmark::RunSpecifiedBenchmarks();
  ::benchmark::Shutdown();
  return 0;
}
