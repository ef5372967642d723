// Uploading pending changes: at most one upload for a pair of files, repeated until it is confirmed or refused for
// good.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "calls/service_call.h"
#include "pending/pending_changes.h"

namespace qlczephra {

class SettingsUpload final : public ServiceCall {
 public:
  SettingsUpload(const std::shared_ptr<Client>& client, std::shared_ptr<PendingChanges> changes,
                 std::shared_ptr<Upload> upload);

 private:
  bool isWanted(Client& client) override;
  void addCondition(Client& client, HeaderMap& headers) override;
  std::optional<Map> body(Client& client) override;
  std::shared_ptr<const void> heldByTransfer() const override { return upload_; }
  void hostIsAsked(Client& client) override;
  ErrorRef apply(Client& client, const std::string& body, std::optional<std::string> eTag) override;
  bool recover(Client& client, int status) override;
  void beforeRepetition(int status) override;
  void end(Client& client, const ErrorRef& error) noexcept override;

  const std::shared_ptr<PendingChanges> changes_;
  const std::shared_ptr<Upload> upload_;
  std::uint64_t questions_ = 0;  // to the host; the number of the last one
};

}  // namespace qlczephra
