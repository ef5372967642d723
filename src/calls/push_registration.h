// Registering the device's push-notification id. Nothing of it is kept: what is not confirmed before the process ends
// is the host's to repeat.
#pragma once

#include <memory>
#include <string>

#include "calls/service_call.h"

namespace qlczephra {

class PushRegistration final : public ServiceCall {
 public:
  PushRegistration(const std::shared_ptr<Client>& client, std::string id, Completion completion);

 private:
  std::optional<Map> body(Client& client) override;
  ErrorRef apply(Client&, const std::string&, std::optional<std::string>) override { return nullptr; }
  void end(Client& client, const ErrorRef& error) noexcept override;

  const std::string id_;
  const Completion completion_;
};

}  // namespace qlczephra
