#include <future>
#include <iostream>

#include <qlczephra/qlczephra.h>

using namespace qlczephra;

struct Token : QLCZephraAuthenticationDelegate {
  void getCCRCredentials(CredentialsCallback answer) override { answer("a-token", nullptr); }
};

struct ServiceURL : QLCServicesURLsProviderProtocol {
  explicit ServiceURL(std::string url) : base(std::move(url)) {}
  void getURLForService(std::uint64_t, URLCallback answer) override { answer(nullptr, base); }
  void respondToChallenge(const ServerTrust&, ChallengeCallback) override {}
  std::string base;
};

int main(int, char** arguments) {
  const auto token = std::make_shared<Token>();
  QLCZephraManager manager(std::make_shared<QLCAppInfo>("corlane", "corlane/1.0"),
                           std::make_shared<ServiceURL>(arguments[1]), token);
  manager.setLocalFilePath("zephra-501.plist");
  manager.updateLocalSettings();  // what the last run stored, if there was one

  std::promise<ErrorRef> fetched;
  manager.fetchRemoteSettings([&](const ErrorRef& error) { fetched.set_value(error); });
  if (const ErrorRef error = fetched.get_future().get()) std::cerr << error->text() << '\n';

  const bool curfew = manager.getBoolValue("common.time.curfew.enabled").value_or(false);
  std::cout << "curfew: " << (curfew ? "on" : "off") << '\n';
}
