// All policy records of a host, made from its settings: 20 firewall profiles of 50 rules, 3,000 sites and all else.
#include <benchmark/benchmark.h>

#include <iterator>
#include <memory>
#include <optional>
#include <string>

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

  [[nodiscard]] bool areComplete(int profiles, int sites) const {
    return curfew && quota && schedule && pmProxySettings && vort2ProxySettings && contentCategories &&
           browsingProtection && std::ssize(firewall.profiles()) == profiles &&
           std::ssize(browsingProtection->whitelist()) + std::ssize(browsingProtection->blacklist()) == sites;
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

// `sites` tells the size; there are 150 of them for each firewall profile.
void registerFor(int sites) {
  constexpr int otherSettings = 5'000;
  const int profiles = sites * test::profileCount / test::siteCount;
  const auto host = std::make_shared<Host>();
  const auto manager = std::make_shared<QLCZephraManager>(std::make_shared<QLCAppInfo>("p", "benchmark/1"), host, host);
  manager->setCurrentSettings(test::treeFor(test::largeSettings(otherSettings, profiles, sites)));
  const auto finished = std::make_shared<const Records>(*manager);
  require(finished->areComplete(profiles, sites), "a view gives too little");

  const std::string size = "/" + std::to_string(sites);
  ::benchmark::RegisterBenchmark(("views/ours" + size).c_str(), [manager, host](::benchmark::State& state) {
    for (auto _ : state) ::benchmark::DoNotOptimize(Records(*manager));
  });
  ::benchmark::RegisterBenchmark(("views/copying the finished records" + size).c_str(),
                                 [finished](::benchmark::State& state) {
                                   for (auto _ : state) ::benchmark::DoNotOptimize(Records(*finished));
                                 });
}

}  // namespace

}  // namespace qlczephra::bench

int main(int argc, char** argv) {
  for (const int sites : {750, 1'500, 3'000, 6'000, 12'000}) qlczephra::bench::registerFor(sites);
  ::benchmark::Initialize(&argc, argv);
  ::benchmark::RunSpecifiedBenchmarks();
  ::benchmark::Shutdown();
  return 0;
}
