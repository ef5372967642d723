#include "calls/settings_upload.h"

#include <chrono>
#include <exception>
#include <utility>
#include <vector>

#include "calls/settings_fetch.h"
#include "platform/planted_bug.h"
#include "transport/errors.h"
#include "transport/header_rules.h"

namespace qlczephra {

namespace {

// How long the host may take for a token or a URL before another manager on the same files may send in its place.
constexpr std::chrono::seconds hostsPatience{10};

}  // namespace

SettingsUpload::SettingsUpload(const std::shared_ptr<Client>& client, std::shared_ptr<PendingChanges> changes,
                               std::shared_ptr<Upload> upload)
    : ServiceCall(
          client,
          {"Sending patch settings request to zephra", "Will retry patching settings in ", LogLevel::info, true},
          {"PATCH", &QLCAppInfo::zephraSettingsURL}),
      changes_(std::move(changes)),
      upload_(std::move(upload)) {}

// The host has answered, or was not asked: the upload is not another manager's any more, or not this one's.
bool SettingsUpload::isWanted(Client&) {
  ++questions_;
  return changes_->keepUpload(*upload_);
}

void SettingsUpload::addCondition(Client& client, HeaderMap& headers) {
  if (auto tag = client.newestTag()) headers.emplace("If-Match", *std::move(tag));
}

std::optional<Map> SettingsUpload::body(Client&) {
  return Map{{"values", upload_->values}};
}

void SettingsUpload::hostIsAsked(Client& client) {
  client.queue().postAfter(hostsPatience, [weak = weak(), question = ++questions_] {
    run(weak, [question](ServiceCall& call, Client& its) {
      auto& upload = static_cast<SettingsUpload&>(call);
      if (upload.questions_ == question) upload.changes_->offerUpload(*upload.upload_, its);
    });
  });
}

ErrorRef SettingsUpload::apply(Client& client, const std::string&, std::optional<std::string> eTag) {
  client.setNewestTag(transport::sendableTag(std::move(eTag)));
  return nullptr;
}

// Fetches the settings, which brings the tag and the settings up to date, and sends again.
bool SettingsUpload::recover(Client& client, int status) {
  const bool mismatch = status == 412;
  const std::uint32_t random = client.platform().secureRandom();
  const std::int64_t delay = mismatch ? upload_->countMismatch(random) : upload_->countBadRequest(random);
  if (upload_->badRequestsExhausted()) return false;
  using Condition = SettingsFetch::Condition;
  SettingsFetch::beginFor(client, *token(), mismatch ? Condition::unconditional : Condition::ifChanged,
                          [weak = weak(), delay](const ErrorRef& error) {
                            run(weak, [&](ServiceCall& call, Client& its) {
                              auto& upload = static_cast<SettingsUpload&>(call);
                              if (error != nullptr) {
                                upload.finish(its, error);
                              } else {
                                upload.repeatAfter(its, delay);
                              }
                            });
                          });
  return true;
}

void SettingsUpload::beforeRepetition(int) {
  upload_->countOther();
}

void SettingsUpload::end(Client& client, const ErrorRef& error) noexcept try {
  std::vector<std::string> errors;
  PendingChanges::Start next;
  {
    const platform::MutexLock lock(changes_->patchLock());
    if (error != nullptr && !isPlanted(PlantedBug::failedUploadForgotten)) {
      next.pause = changes_->refuse(*upload_);
    } else {
      changes_->confirm(*upload_);
      next = changes_->startUpload(client, errors);
    }
  }
  for (const std::string& line : errors) client.log().error(line);
  client.carryOn(changes_, std::move(next));
} catch (const std::exception&) {  // no memory: the claim goes back with this object, if it was not given back
  changes_->giveUp();
}

}  // namespace qlczephra
