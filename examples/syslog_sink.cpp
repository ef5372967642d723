// Sends the library's log lines to the system log, each with the priority that fits its level.
#include <qlczephra/qlczephra.h>
#include <syslog.h>

#include <string>

namespace {

int priorityOf(qlczephra::LogLevel level) {
  switch (level) {
    case qlczephra::LogLevel::debug:
      return LOG_DEBUG;
    case qlczephra::LogLevel::info:
      return LOG_INFO;
    case qlczephra::LogLevel::error:
    case qlczephra::LogLevel::plain:
      break;
  }
  return LOG_ERR;
}

// Runs on any thread of the library. syslog() may be called from several at once.
void writeToSystemLog(const qlczephra::LogLine& line) {
  const std::string category = line.category.empty() ? "" : std::string(line.category) + ": ";
  syslog(priorityOf(line.level), "%s%.*s", category.c_str(), static_cast<int>(line.message.size()),
         line.message.data());
}

// A host that has neither a token nor a service.
struct Host : qlczephra::QLCZephraAuthenticationDelegate, qlczephra::QLCServicesURLsProviderProtocol {
  void getCCRCredentials(CredentialsCallback answer) override { answer(std::nullopt, nullptr); }
  void getURLForService(std::uint64_t, URLCallback answer) override { answer(nullptr, std::nullopt); }
  void respondToChallenge(const qlczephra::ServerTrust&, ChallengeCallback) override {}
};

}  // namespace

int main() {
  openlog("corlane", LOG_PID | LOG_PERROR, LOG_DAEMON);  // LOG_PERROR: on standard error too, to be seen here
  qlczephra::setLogSink(writeToSystemLog);

  const auto host = std::make_shared<Host>();
  qlczephra::QLCZephraManager manager(std::make_shared<qlczephra::QLCAppInfo>("corlane", "corlane/1.0"), host, host);
  manager.updateLocalSettings();  // says in the log that it has no file to read

  qlczephra::setLogSink({});  // before closelog(): a line may come at any time
  closelog();
}
