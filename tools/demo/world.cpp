#include <charconv>

#include "platform/json/json.h"
#include "service/sample_document.h"
#include "tools/demo/story.h"
#include "tools/failure.h"
#include "tools/fetching.h"
#include "tools/output.h"

namespace qlczephra::tools::demo {
namespace {

constexpr const char* token = "demo-token";

service::ServiceOptions acceptingOneToken() {
  service::ServiceOptions options;
  options.tokens = {token};
  return options;
}

}  // namespace

void WaitRecord::take(const LogLine& line) {
  constexpr std::string_view announcement = "Will retry getting settings in ";
  if (!line.message.starts_with(announcement)) return;
  int seconds = 0;
  std::from_chars(line.message.data() + announcement.size(), line.message.data() + line.message.size(), seconds);
  const platform::MutexLock lock(mutex_);
  seconds_.push_back(seconds);
}

std::vector<int> WaitRecord::seconds() const {
  const platform::MutexLock lock(mutex_);
  return seconds_;
}

World::World(const LogOptions& log)
    : log_(std::make_shared<LogFollower>(log.least())),
      waits_(std::make_shared<WaitRecord>()),
      service_(acceptingOneToken()) {
  setLogSink([log = log_, waits = waits_](const LogLine& line) {
    log->take(line);
    waits->take(line);
  });
  const auto document = json::read(service::sampleDocument());
  claim(service_.store().setDocument(product, *std::get<Value>(document).map()), "the service takes the sample");
}

World::~World() {
  host_.reset();
  stopService();
}

void World::startService() {
  server_.emplace(service_);
  claim(server_->start(), "the service listens on a loopback port");
  url_ = server_->url();
}

void World::stopService() {
  server_.reset();
}

void World::startManager() {
  host_ = makeHost(url_, product, "qlczephra-demo/1.0", token);
  host_->manager->setLocalFilePath(localFile());
  host_->manager->setPatchFilePath(patchFile());
}

void World::fetch() {
  fetchSettings(manager(), std::string("the settings of product ") + product + " from " + url_, {.seconds = 60}, *log_);
}

void show(const std::string& line) {
  printLine("   " + line);
}

void showRequest(const service::LoggedRequest& entry) {
  show("service saw: " + entry.request.method + " " + entry.request.target + " -> " + std::to_string(entry.status));
}

void claim(bool holds, const std::string& what) {
  if (!holds)
    throw Failure("the demonstration fails: it is not so that " + what + "; run scripts/test to find out why");
}

}  // namespace qlczephra::tools::demo
