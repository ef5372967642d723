#include "tests/simulation/stage.h"

#include <algorithm>
#include <utility>

#include "platform/plist/plist.h"
#include "tests/support/json_literal.h"
#include "tests/support/secret_token.h"
#include "transport/errors.h"

namespace qlczephra::test {

using std::chrono::milliseconds;

namespace {

constexpr const char* product = "corlane";
constexpr const char* goodToken = secretToken;
constexpr const char* settingsDocument = R"({"data": {
  "eff_schema": {
    "common": {"properties": {"a": {"type": "integer", "default": 0}, "b": {"type": "integer", "default": 1},
                              "other": {"type": "integer", "default": 0}}},
    "macos": {"properties": {"c": {"type": "integer", "default": 2}, "d": {"type": "integer", "default": 3}}}},
  "values": {"common": {"a": 0, "b": 1}, "macos": {"c": 2, "d": 3}}}})";

service::ServiceOptions serviceOptions() {
  service::ServiceOptions options;
  options.tokens = {goodToken};
  options.logCapacity = 1;
  return options;
}

}  // namespace

Stage::Stage(std::uint64_t seed, bool sharedLocalFile)
    : random_(seed ^ 0x5DEECE66DU),
      sharedLocalFile_(sharedLocalFile),
      appInfo_(std::make_shared<QLCAppInfo>(product, "Corlane/1.0")),
      delegate_(std::make_shared<HostDelegate>()),
      provider_(std::make_shared<HostProvider>()),
      service_(serviceOptions()) {
  static_cast<void>(service_.store().setDocument(product, mapFromJson(settingsDocument)));
  delegate_->behaviour = [this](const auto& callback) {
    answerLaterOrTwice([this, callback] {
      if (random_.chance(troubles_.hostError)) {
        callback(std::nullopt, makeError(QLCZephraManager::ZephraErrorCode::forbidden));
      } else {
        callback(goodToken, nullptr);
      }
    });
  };
  provider_->behaviour = [this](const auto& callback) {
    answerLaterOrTwice([this, callback] {
      callback(nullptr,
               random_.chance(troubles_.hostError) ? std::nullopt : std::optional<std::string>(ManagerWorld::base));
    });
  };
  sim::DiskImage disk;
  disk.directories.insert("/settings");
  begin(std::make_unique<sim::World>(seed, std::move(disk)));
  world_->network().connectTo([this](const service::ServiceRequest& request) { return answer(request); });
}

// Tasks that are still waiting may hold what the members are.
Stage::~Stage() {
  world_->scheduler().stop();
  requireNoTokenLogged();
}

void Stage::requireNoTokenLogged() const {
  for (const sim::LogRecord& record : world_->logged().records()) requireNoToken(record.message, "a log line");
}

void Stage::begin(std::unique_ptr<sim::World> world) {
  world_ = std::move(world);
  failedDiskCalls_ = 0;
  world_->afterEachStep([this] { check(); });
  world_->disk().faults.chosen = [this](const sim::DiskCall& call) {
    const int error = troubles_.disk.errorOf(call, random_);
    if (error != 0) ++failedDiskCalls_;
    return error;
  };
}

// ---- the host

void Stage::startManager(std::size_t slot) {
  static constexpr const char* ownLocalFiles[slots] = {ManagerWorld::localFile, "/settings/zephra-1.plist"};
  Host& host = hosts_[slot];
  if (host.manager != nullptr || world_->hasEnded()) return;
  host.manager = std::make_unique<QLCZephraManager>(appInfo_, provider_, delegate_, *world_);
  host.written = {};
  managerOf_[slot] = ++managersStarted_;
  host.manager->setLocalFilePath(sharedLocalFile_ ? ownLocalFiles[0] : ownLocalFiles[slot]);
  host.manager->setPatchFilePath(ManagerWorld::patchFile);
  updateLocalSettings(slot);
}

void Stage::dropManager(std::size_t slot) {
  hosts_[slot].manager.reset();
  const bool last = std::all_of(std::begin(hosts_), std::end(hosts_), [](const Host& h) { return !h.manager; });
  if (last) model_.loseMemory();
  check();
}

void Stage::write(std::size_t slot, std::size_t setting) {
  Host& host = hosts_[slot];
  if (host.manager == nullptr || world_->hasEnded()) return;
  const std::int64_t value = model_.nextValue(setting);
  const std::uint64_t failedBefore = failedDiskCalls_;
  ++changesWritten_;
  world_->history().note("host", "writes " + std::to_string(value));
  host.manager->setSettingValue(settingPaths[setting], value);
  if (world_->hasEnded()) return;
  if (failedDiskCalls_ == failedBefore) {
    model_.accept(setting, value);
  } else {
    model_.keepInMemory(setting, value);
  }
  host.written[setting] = std::max(host.written[setting].value_or(0), value);
  check();
}

void Stage::fetch(std::size_t slot) {
  if (hosts_[slot].manager == nullptr) return;
  hosts_[slot].manager->fetchRemoteSettings(recording(slot));
  check();
}

void Stage::registerPushId(std::size_t slot) {
  if (hosts_[slot].manager == nullptr) return;
  hosts_[slot].manager->setPNSID("id", recording(slot));
  check();
}

void Stage::updateLocalSettings(std::size_t slot) {
  if (hosts_[slot].manager == nullptr) return;
  world_->history().note("host", "has the local settings loaded");
  // The file may be older than the settings that go: another manager wrote its own there, or the disk failed.
  if (failedDiskCalls_ > 0 || sharedLocalFile_) hosts_[slot].written = {};
  hosts_[slot].manager->updateLocalSettings();
  check();
}

Completion Stage::recording(std::size_t slot) {
  CallRecord& call = calls_.emplace_back(CallRecord{slot, managerOf_[slot]});
  return [this, &call](const ErrorRef&) {
    ++call.completions;
    if (random_.chance(troubles_.writeInside)) write(call.slot, random_.below(settingPaths.size()));
  };
}

void Stage::answerLaterOrTwice(std::function<void()> answer) {
  if (random_.chance(troubles_.hostRepeat)) answer();
  if (random_.chance(troubles_.hostDelay)) {
    world_->scheduler().runAfter("host", milliseconds(random_.below(4000)), std::move(answer));
  } else {
    answer();
  }
}

// ---- the world

service::ServiceReply Stage::answer(const service::ServiceRequest& request) {
  static constexpr int refusals[] = {400, 400, 401, 403, 404, 412, 412, 422, 429, 500, 502, 503, 503, 504};
  if (troubles_.status != 0) return service::errorReply(troubles_.status, "trouble");
  if (random_.chance(troubles_.refusal)) {
    const int status = refusals[random_.below(std::size(refusals))];
    if (status >= 500 && random_.chance(0.5)) static_cast<void>(service_.handle(request));
    return service::errorReply(status, "trouble");
  }
  service::ServiceReply reply = service_.handle(request);
  if (random_.chance(troubles_.tagLoss)) service::removeHeader(reply.headers, "Etag");
  return reply;
}

void Stage::otherClientWrites() {
  const Map change{{"common", Map{{"other", ++otherValue_}}}};
  static_cast<void>(service_.store().update(product, change, [](auto) { return true; }));
}

void Stage::restartIfEnded() {
  if (!world_->hasEnded()) return;
  requireNoTokenLogged();
  earlierHistory_ += world_->history().text();
  if (!world_->disk().actionRanAt().empty()) crashPoints_.insert(world_->disk().actionRanAt());
  auto next = world_->restart();
  for (Host& host : hosts_) host = {};
  calls_.clear();
  model_.loseMemory();
  begin(std::move(next));
  check();
}

void Stage::comeToRest() {
  restartIfEnded();
  troubles_ = {};
  world_->disk().cancelAction();
  world_->network().conditions = {};
  if (hosts_[0].manager == nullptr && hosts_[1].manager == nullptr) startManager(0);
  for (const Host& host : hosts_) {
    // A host sees its calls end as unauthorized and has the token renewed.
    if (host.manager != nullptr && host.manager->ccrToken() != goodToken) host.manager->clearCCRToken();
  }
  world_->runUntilIdle();
  check();
  violate(model_.notArrivedAt(atService()));
  // What was delivered while the disk failed may have stayed in its file, until uploads are next looked at.
  updateLocalSettings(hosts_[0].manager != nullptr ? 0 : 1);
  world_->runUntilIdle();
  check();
  if (patch_.content) violate("the patch file stays");
  if (sending_.content) violate("the sending file stays");
  for (const CallRecord& call : calls_) {
    const bool alive = hosts_[call.slot].manager != nullptr && managerOf_[call.slot] == call.managersBefore;
    if (alive && call.completions != 1) violate("a call of a manager that lives has no end");
  }
}

// ---- the invariants

void Stage::violate(std::optional<std::string> what) {
  if (!what || violation_) return;
  world_->history().note("violation", *what);
  violation_ = std::move(what);
}

void Stage::check() {
  if (violation_ || world_->hasEnded()) return;
  checkPlaces();
  checkReads();
  if (world_->network().mostInFlight("PATCH", ManagerWorld::settingsURL) > 1) violate("two uploads at once");
  for (const CallRecord& call : calls_) {
    if (call.completions > 1) violate("a completion ran twice");
  }
}

void Stage::checkPlaces() {
  const SettingValues& patch = look(ManagerWorld::patchFile, patch_);
  const SettingValues& sending = look(ManagerWorld::sendingFile, sending_);
  const SettingValues service = atService();
  violate(model_.inventedIn("the patch file", patch));
  violate(model_.inventedIn("the sending file", sending));
  violate(model_.inventedIn("the service", service));
  violate(model_.lostFrom(service, sending, patch));
}

void Stage::checkReads() {
  for (const Host& host : hosts_) {
    if (host.manager == nullptr) continue;
    SettingValues read;
    for (std::size_t i = 0; i < read.size(); ++i) read[i] = host.manager->getNumberValue(settingPaths[i]);
    violate(model_.inventedIn("a read", read));
    for (std::size_t i = 0; i < read.size(); ++i) {
      if (!read[i] || *read[i] >= host.written[i].value_or(0)) continue;
      violate(std::string(settingPaths[i]) + " reads " + std::to_string(*read[i]) + " after a write of " +
              std::to_string(*host.written[i]));
    }
  }
}

const SettingValues& Stage::look(const char* path, FileView& view) {
  std::optional<std::string> content = world_->disk().content(path);
  if (content == view.content) return view.values;
  view.values = {};
  if (content) {
    const auto read = plist::read(*content);
    const auto* value = std::get_if<Value>(&read);
    if (value != nullptr && value->map() != nullptr) view.values = settingValuesOf(*value->map());
  }
  view.content = std::move(content);
  return view.values;
}

SettingValues Stage::atService() {
  return settingValuesOf(service_.store().values(product).value_or(Map()));
}

}  // namespace qlczephra::test
