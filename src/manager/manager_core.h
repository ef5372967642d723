// What stands behind a QLCZephraManager: the client of its calls, and what it does itself with settings and files.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "calls/client.h"
#include "qlczephra/error.h"
#include "qlczephra/value.h"

namespace qlczephra {

// Thread-safe. Operations are those of the public class.
class ManagerCore final : public Client {
 public:
  using Client::Client;

  void setCurrentSettings(std::optional<Map> settings);
  void updateLocalSettings();
  void setSettingValue(std::string_view path, const Value& value);
  void clearCCRToken();
  void fetchRemoteSettings(Completion completion);
  void setPNSID(std::string id, Completion completion);

 private:
  // Returns the settings of the local settings file; nullopt when it is missing or damaged. Under the patch lock.
  [[nodiscard]] std::optional<Map> loadSettings(const std::string& path, PendingChanges& changes,
                                                std::vector<std::string>& errors) QLCZ_REQUIRES(changes.patchLock());
};

}  // namespace qlczephra
