#include "calls/push_registration.h"

#include <utility>

namespace qlczephra {

PushRegistration::PushRegistration(const std::shared_ptr<Client>& client, std::string id, Completion completion)
    : ServiceCall(
          client,
          {"Sending patch PNS id request to zephra", "Will retry setting new PNS id in ", LogLevel::info, false},
          {"PATCH", &QLCAppInfo::zephraNodeURL}),
      id_(std::move(id)),
      completion_(std::move(completion)) {}

std::optional<Map> PushRegistration::body(Client&) {
  return Map{{"pns_id", id_}};
}

void PushRegistration::end(Client& client, const ErrorRef& error) noexcept {
  if (error == nullptr) client.endPauseEarly();
  client.callHost("a push registration completion", [&] { completion_(error); });
}

}  // namespace qlczephra
