#include "calls/settings_fetch.h"

#include <utility>
#include <variant>

#include "document/settings_document.h"
#include "transport/errors.h"
#include "transport/header_rules.h"

namespace qlczephra {

void SettingsFetch::beginForHost(const std::shared_ptr<Client>& client, Completion completion) {
  client->log().info("Will fetch new zephra settings");
  if (!client->takeFetchGuard()) {
    client->log().info("There is already on ongoing settings fetching");
    client->callHost("a fetch completion", [&] { completion(makeError(ZephraErrorCode::fetchInProgress)); });
    return;
  }
  FetchGuard guard(client);
  begin(std::make_shared<SettingsFetch>(client, std::move(guard), std::nullopt, Condition::ifChanged,
                                        std::move(completion)));
}

void SettingsFetch::beginFor(Client& client, const platform::Secret& token, Condition condition,
                             Completion completion) {
  const auto fetch =
      std::make_shared<SettingsFetch>(client.shared_from_this(), std::nullopt, token, condition, std::move(completion));
  client.add(fetch);
  // On this thread, as a step of that other call.
  run(fetch->weak(), [](ServiceCall& call, Client& its) { static_cast<SettingsFetch&>(call).attempt(its); });
}

SettingsFetch::SettingsFetch(const std::shared_ptr<Client>& client, std::optional<FetchGuard> guard,
                             std::optional<platform::Secret> token, Condition condition, Completion completion)
    : ServiceCall(client,
                  {"Sending get settings request to zephra", "Will retry getting settings in ", LogLevel::error, true},
                  {"GET", &QLCAppInfo::zephraSettingsURL}, std::move(token)),
      guard_(std::move(guard)),
      isForHost_(guard_.has_value()),
      condition_(condition),
      completion_(std::move(completion)) {}

void SettingsFetch::addCondition(Client& client, HeaderMap& headers) {
  sentTag_ = condition_ == Condition::ifChanged ? client.documentTag() : std::nullopt;
  if (sentTag_) headers.emplace("If-None-Match", *sentTag_);
}

std::optional<Map> SettingsFetch::body(Client& client) {
  changes_ = client.pendingChanges();
  ticket_ = changes_->takeTicket();
  return std::nullopt;
}

ErrorRef SettingsFetch::apply(Client& client, const std::string& body, std::optional<std::string> eTag) {
  const auto interpreted = document::SettingsDocument::interpret(body);
  if (const auto* fault = std::get_if<document::NoSettings>(&interpreted)) {
    // A body that is no JSON object is none, which is no failure. What the limits refused is worth a line, since nobody
    // could tell otherwise why a whole reply had no effect.
    if (fault->exceedsLimit) client.log().process("QLMNetworkRequest: Error " + fault->reason);
    return fault->isObject ? makeError(ZephraErrorCode::invalidSettings) : nullptr;
  }
  const auto& document = std::get<document::SettingsDocument>(interpreted);
  eTag = transport::sendableTag(std::move(eTag));

  const auto path = client.localFilePath();
  {
    // One hold for all of it: a change that is made meanwhile is either in the layers read here, or laid over the tree
    // published here.
    const platform::MutexLock lock(changes_->patchLock());
    const PendingChanges::Layers layers = changes_->layers(*ticket_);
    const Map tree = document.effectiveTree({&layers.confirmed, &layers.sending, &layers.patch});
    const std::optional<Map> before = client.settings().tree();
    client.settings().publish(tree);
    // Not before the settings that the tags speak of: memory may run out in between.
    client.setNewestTag(eTag);
    // A document that is older than a confirmed change must not be what a later "not modified" speaks of.
    client.setDocumentTag(layers.confirmed.empty() ? eTag : std::nullopt);
    if (path) client.storeSettings(*path, tree, before);
  }
  if (!path) client.log().process("Error: Local file path not set");
  return nullptr;
}

// A 304 speaks of the document that the request named. When the settings were replaced meanwhile, that is not the one
// in use any more, and the document has to be fetched whole.
void SettingsFetch::notModified(Client& client) {
  if (!sentTag_ || client.documentTag() == sentTag_) {
    finish(client, nullptr);
    return;
  }
  condition_ = Condition::unconditional;
  attempt(client);
}

void SettingsFetch::beforeRepetition(int status) {
  constexpr int headerFieldsTooLarge = 431;  // the tag may be what is
  if (status == headerFieldsTooLarge) condition_ = Condition::unconditional;
}

void SettingsFetch::logEnd(Client& client, const ErrorRef& error) {
  if (!isForHost_ || !hasToken()) return;
  if (error != nullptr) {
    client.log().error("Failed to fetch zephra settings with error: " + error->text());
  } else {
    client.log().info("Zephra settings successfully fetched");
  }
}

// The guard is free before the host hears of the end, so that it may fetch again at once.
void SettingsFetch::end(Client& client, const ErrorRef& error) noexcept {
  guard_.reset();
  if (!isForHost_) {
    completion_(error);
    return;
  }
  if (error == nullptr) client.endPauseEarly();
  client.callHost("a fetch completion", [&] { completion_(error); });
}

}  // namespace qlczephra
