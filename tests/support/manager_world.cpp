#include "tests/support/manager_world.h"

#include <stdexcept>
#include <utility>

#include "platform/plist/plist.h"
#include "tests/support/json_literal.h"
#include "tests/support/secret_token.h"

namespace qlczephra::test {

using std::chrono::milliseconds;

const char* const ManagerWorld::document = R"({"data": {
  "eff_schema": {
    "common": {"properties": {"name": {"type": "string", "default": "default"},
                              "count": {"type": "integer", "default": 1},
                              "on": {"type": "boolean", "default": false}}},
    "macos": {"properties": {}}},
  "values": {"common": {"name": "service"}}}})";

Answer Answer::lost() {
  Answer answer(200);
  answer.reply.drop = service::Drop::beforeHeaders;
  return answer;
}

Answer Answer::brokenAfter(int status) {
  Answer answer(status);
  answer.reply.drop = service::Drop::afterHeaders;
  return answer;
}

Answer& Answer::tag(std::string eTag) {
  service::setHeader(reply.headers, "Etag", std::move(eTag));
  return *this;
}

Answer& Answer::body(std::string text) {
  reply.body = std::move(text);
  hasBody = true;
  return *this;
}

Answer& Answer::delayed(milliseconds delay) {
  reply.delay = delay;
  return *this;
}

std::string Call::result() const {
  constexpr const char* names[] = {
      "unprocessableEntity", "badRequest", "unauthorized",    "invalidSettings", "reserved",
      "forbidden",           "notFound",   "fetchInProgress", "noServiceURL",    "unexpectedResponse"};
  if (completions == 0) return "open";
  if (error == nullptr) return "success";
  if (error->domain() == QLCZephraManager::errorDomain()) return names[error->code()];
  return error->domain() + " " + std::to_string(error->code());
}

void HostDelegate::getCCRCredentials(CredentialsCallback callback) {
  ++asked;
  behaviour(std::move(callback));
}

void HostProvider::getURLForService(std::uint64_t service, URLCallback callback) {
  asked.push_back(service);
  behaviour(std::move(callback));
}

void HostProvider::respondToChallenge(const ServerTrust&, ChallengeCallback) {
  throw std::logic_error("the library asked the URL provider about a certificate");
}

ManagerWorld::ManagerWorld(std::uint64_t seed)
    : world(seed),
      appInfo(std::make_shared<QLCAppInfo>("corlane", "Corlane/1.0")),
      delegate(std::make_shared<HostDelegate>()),
      provider(std::make_shared<HostProvider>()),
      manager(makeManager()) {
  world.disk().makeDirectory("/settings");
  world.network().connectTo([this](const service::ServiceRequest& request) { return answer(request); });
  givenDelegateAnswers(secretToken);
  givenProviderAnswers(nullptr, base);
  manager->setLocalFilePath(localFile);
  manager->setPatchFilePath(patchFile);
}

// Tasks that are still waiting may hold what the members are.
ManagerWorld::~ManagerWorld() {
  world.scheduler().stop();
  for (const sim::LogRecord& record : world.logged().records()) requireNoToken(record.message, "a log line");
  for (const std::string& path : world.disk().paths()) requireNoToken(*world.disk().content(path), "a file");
  for (const Call& call : calls_) {
    if (call.error != nullptr) requireNoToken(call.error->text(), "an error");
  }
}

service::ServiceReply ManagerWorld::answer(const service::ServiceRequest&) {
  Answer next = always_;
  if (!answers_.empty()) {
    next = std::move(answers_.front());
    answers_.pop_front();
  }
  const bool carriesDocument = next.reply.status >= 200 && next.reply.status <= 299 && !next.hasBody;
  if (carriesDocument) next.reply.body = document_;
  return next.reply;
}

void ManagerWorld::givenFile(const std::string& path, const char* json) {
  world.disk().put(path, plist::write(fromJson(json)).value());
}

void ManagerWorld::givenDelegateAnswers(std::optional<std::string> token, ErrorRef error) {
  givenDelegate([token = std::move(token), error = std::move(error)](const auto& callback) { callback(token, error); });
}

void ManagerWorld::givenProviderAnswers(ErrorRef error, std::optional<std::string> url) {
  givenProvider([error = std::move(error), url = std::move(url)](const auto& callback) { callback(error, url); });
}

void ManagerWorld::givenJitter(std::uint32_t random) {
  world.setSecureRandom([random] { return random; });
}

void ManagerWorld::whenServiceAnswers(std::vector<Answer> answers) {
  answers_.assign(std::make_move_iterator(answers.begin()), std::make_move_iterator(answers.end()));
}

Completion ManagerWorld::recording(Call& call, std::function<void()> inside) {
  return [this, &call, inside = std::move(inside)](const ErrorRef& error) {
    ++call.completions;
    call.error = error;
    call.lane = world.scheduler().currentLane();
    call.at = world.clocks().elapsed();
    if (inside) inside();
  };
}

Call& ManagerWorld::fetch() {
  Call& call = newCall();
  manager->fetchRemoteSettings(recording(call));
  return call;
}

std::string ManagerWorld::fetched() {
  const Call& call = fetch();
  runUntilIdle();
  return call.result();
}

std::unique_ptr<QLCZephraManager> ManagerWorld::makeManager() {
  return std::make_unique<QLCZephraManager>(appInfo, provider, delegate, world);
}

void ManagerWorld::later(milliseconds time, std::function<void()> action) {
  world.scheduler().runAfter("host", time, std::move(action));
}

std::vector<std::string> ManagerWorld::log() const {
  std::vector<std::string> lines;
  const auto& records = world.logged().records();
  for (std::size_t i = forgotten_; i < records.size(); ++i) lines.push_back(records[i].text());
  return lines;
}

std::vector<std::string> ManagerWorld::logWith(const std::string& part) const {
  std::vector<std::string> lines = log();
  std::erase_if(lines, [&](const std::string& line) { return line.find(part) == std::string::npos; });
  return lines;
}

std::vector<std::int64_t> ManagerWorld::requestTimes() {
  std::vector<std::int64_t> times;
  for (const auto& sent : requests()) {
    times.push_back(std::chrono::floor<std::chrono::seconds>(sent.at - requests().front().at).count());
  }
  return times;
}

std::optional<std::string> ManagerWorld::sentHeader(const std::string& name) {
  return requests().empty() ? std::nullopt : service::findHeader(requests().back().request.headers, name);
}

std::optional<Map> ManagerWorld::storedMap(const std::string& path) {
  const auto content = world.disk().content(path);
  if (!content) return std::nullopt;
  const auto read = plist::read(*content);
  const auto* value = std::get_if<Value>(&read);
  return value == nullptr || value->map() == nullptr ? std::nullopt : std::optional(*value->map());
}

}  // namespace qlczephra::test
