// A program that needs something of every part of the library, and ends with 0 when it is all there.
#include <qlczephra/qlczephra.h>

#include <cstring>
#include <future>

namespace {

using namespace qlczephra;

class RefusingHost : public QLCZephraAuthenticationDelegate, public QLCServicesURLsProviderProtocol {
 public:
  void getCCRCredentials(CredentialsCallback answer) override { answer("token", nullptr); }
  void getURLForService(std::uint64_t, URLCallback answer) override {
    answer(std::make_shared<Error>("com.example.consumer", 7), std::nullopt);
  }
  void respondToChallenge(const ServerTrust&, ChallengeCallback) override {}
};

bool fetchEndsWithTheHostsOwnError() {
  const auto host = std::make_shared<RefusingHost>();
  QLCZephraManager manager(std::make_shared<QLCAppInfo>("corlane", "consumer/1.0"), host, host);
  std::promise<ErrorRef> ended;
  manager.fetchRemoteSettings([&](const ErrorRef& error) { ended.set_value(error); });
  const ErrorRef error = ended.get_future().get();
  return error != nullptr && error->domain() == "com.example.consumer" && error->code() == 7;
}

}  // namespace

int main() {
  setLogSink([](const LogLine&) {});
  const bool versionFits = qlczephraVersionNumber == 1.0 &&
                           std::strstr(reinterpret_cast<const char*>(qlczephraVersionString), "qlczephra-1") != nullptr;
  const bool valuesWork = Map{{"a", 1}}.with("b", List{true, "text"}).size() == 2;
  return versionFits && valuesWork && QLCRetry().description() == "<QLCRetry: 1/0>" && fetchEndsWithTheHostsOwnError()
             ? 0
             : 1;
}
