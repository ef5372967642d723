// A host that applies firewall, scan schedule and proxies. It keeps what it applied last and acts only on a record that
// differs, so it can be called after every fetch and after every local change.
//
// usage: apply_policy SERVICE_URL
#include <qlczephra/qlczephra.h>

#include <future>
#include <iomanip>
#include <iostream>

using namespace qlczephra;

namespace {

struct Host : QLCZephraAuthenticationDelegate, QLCServicesURLsProviderProtocol {
  explicit Host(std::string url) : base(std::move(url)) {}
  void getCCRCredentials(CredentialsCallback answer) override { answer("a-token", nullptr); }
  void getURLForService(std::uint64_t, URLCallback answer) override { answer(nullptr, base); }
  void respondToChallenge(const ServerTrust&, ChallengeCallback) override {}
  std::string base;
};

// The components of the product; here they say what they would do.

void applyFirewall(const QLCFirewall& firewall) {
  const QLCFirewallSystemSettings system = firewall.systemSettings();
  std::cout << "system firewall: " << (system.enabled() ? "on" : "off")
            << (system.blockAllIn() ? ", blocks everything that comes in" : "") << '\n';
  if (!firewall.enabled()) {
    std::cout << "firewall: off\n";
    return;
  }
  // The current profile may name none of the profiles; what then happens is for the host to decide.
  const auto profile = firewall.profiles().find(firewall.currentProfileID());
  if (profile == firewall.profiles().end()) {
    std::cout << "firewall: there is no profile \"" << firewall.currentProfileID() << "\", the last one stays\n";
    return;
  }
  std::cout << "firewall: profile " << profile->second.name() << ", incoming "
            << profile->second.defaultActionsIn().action() << ", outgoing "
            << profile->second.defaultActionsOut().action() << " by default\n";
  for (const QLCFirewallRule& rule : profile->second.rules()) {
    const std::size_t programs = rule.signingIDs().size() + rule.teamIDs().size();
    std::cout << "  " << rule.action() << ' ' << rule.direction() << ": " << rule.name() << " (" << programs
              << " identifiers)\n";
  }
}

void applySchedule(const std::optional<QLCSchedule>& schedule) {
  if (!schedule) {
    std::cout << "scan: not scheduled\n";
    return;
  }
  // The settings are not checked on their way: a time that a clock cannot show is the host's to refuse.
  if (schedule->hour() < 0 || schedule->hour() > 23 || schedule->minute() < 0 || schedule->minute() > 59) {
    std::cout << "scan: " << *schedule << " is no time of day, nothing is scheduled\n";
    return;
  }
  std::cout << "scan: " << schedule->frequency() << " at " << schedule->hour() << ':' << std::setw(2)
            << std::setfill('0') << schedule->minute();
  if (const auto& days = schedule->days()) {
    std::cout << ", days";
    for (const std::int64_t day : *days) std::cout << ' ' << day;
  }
  std::cout << '\n';
}

// "host:port" for the HTTPS port. A number that is no port is the host's to refuse, too.
std::optional<std::string> endpoint(const QLCPMAddress& address) {
  const std::int64_t port = address.httpsPort().value_or(443);
  if (port < 1 || port > 65535) {
    std::cout << "  " << address << " has no port, left out\n";
    return std::nullopt;
  }
  return address.address() + ':' + std::to_string(port);
}

// A choice that the settings do not make stays as it was.
const char* choice(std::optional<bool> yes) {
  if (!yes) return "as before";
  return *yes ? "yes" : "no";
}

void applyProxy(const std::optional<QLCVORT2Settings>& vort2, const std::optional<QLCPMProxySettings>& policyManager) {
  const auto proxyOf = [](const QLCHTTPProxySettings& proxy) {
    return proxy.type() == QLCHTTPProxyTypeUserDefined ? *proxy.address() : std::string(nameOf(proxy.type()));
  };
  if (vort2) {
    std::cout << "service client: proxy " << proxyOf(vort2->httpProxy());
    if (const auto& server = vort2->localServerAddress()) std::cout << ", local server " << *server;
    std::cout << (vort2->fallbackToGlobal().value_or(true) ? "" : ", nowhere else") << '\n';
  }
  if (policyManager) {
    std::cout << "policy manager: proxy " << proxyOf(policyManager->httpProxy()) << '\n';
    if (const auto& address = policyManager->overridePMAddress()) {
      if (const auto at = endpoint(*address)) std::cout << "  at " << *at << '\n';
    }
    // A list that is not set leaves the relays as they are; an empty one clears them.
    if (const auto& relays = policyManager->proxies()) {
      for (const QLCPMAddress& relay : *relays) {
        if (const auto at = endpoint(relay)) std::cout << "  relay " << *at << '\n';
      }
    }
    std::cout << "  when no relay answers: policy manager itself " << choice(policyManager->fallbackToPM())
              << ", cloud " << choice(policyManager->fallbackToCloud()) << '\n';
  }
}

// What was applied last.
class Policy {
 public:
  void follow(const QLCZephraManager& manager) {
    QLCFirewall firewall = manager.firewall();
    if (firewall_ != firewall) applyFirewall(firewall_.emplace(std::move(firewall)));
    auto schedule = manager.schedule();
    if (first_ || schedule_ != schedule) applySchedule(schedule_ = std::move(schedule));
    auto vort2 = manager.vort2ProxySettings();
    auto policyManager = manager.pmProxySettings();
    if (first_ || vort2_ != vort2 || policyManager_ != policyManager) {
      applyProxy(vort2_ = std::move(vort2), policyManager_ = std::move(policyManager));
    }
    first_ = false;
  }

 private:
  bool first_ = true;
  std::optional<QLCFirewall> firewall_;
  std::optional<QLCSchedule> schedule_;
  std::optional<QLCVORT2Settings> vort2_;
  std::optional<QLCPMProxySettings> policyManager_;
};

}  // namespace

int main(int count, char** arguments) {
  if (count != 2) {
    std::cerr << "usage: apply_policy SERVICE_URL\n";
    return 2;
  }
  const auto host = std::make_shared<Host>(arguments[1]);
  QLCZephraManager manager(std::make_shared<QLCAppInfo>("corlane", "corlane/1.0"), host, host);
  manager.setLocalFilePath("zephra-501.plist");
  manager.setPatchFilePath("patch-501.plist");

  std::promise<ErrorRef> fetched;
  manager.fetchRemoteSettings([&](const ErrorRef& error) { fetched.set_value(error); });
  if (const ErrorRef error = fetched.get_future().get()) {
    std::cerr << error->text() << '\n';
    return 1;
  }
  Policy policy;
  policy.follow(manager);

  std::cout << "-- the user switches to the home profile\n";
  manager.setStringValue("macos.firewall.current_profile_id", "home");
  policy.follow(manager);
}
