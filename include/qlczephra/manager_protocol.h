// What a host can ask of a manager. Hosts that want to test their own code implement it with a double.
//
// Threads: every operation may be called from any thread, also inside any callback of the library. None waits for the
// network, for host code or for another thread's read. Reads wait for nothing at all. No operation may be called from a
// signal handler: a read that interrupts a read of its own thread would take that one's hold on the settings away.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "qlczephra/error.h"
#include "qlczephra/policy/browsing_protection.h"
#include "qlczephra/policy/content_categories.h"
#include "qlczephra/policy/firewall.h"
#include "qlczephra/policy/proxy.h"
#include "qlczephra/policy/scheduled_scanning.h"
#include "qlczephra/policy/time_limits.h"
#include "qlczephra/value.h"

namespace qlczephra {

class QLCZEPHRA_EXPORT QLCZephraManagerProtocol {
 public:
  virtual ~QLCZephraManagerProtocol();

  // The cached CCR token, none while there is none.
  [[nodiscard]] virtual std::optional<std::string> ccrToken() const = 0;

  // Paths of the user's two files, none at first; normally those of QLCZephraManager::localSettingsFileForUid() and
  // patchSettingsFileForUid(). Each operation reads them once.
  [[nodiscard]] virtual std::optional<std::string> localFilePath() const = 0;
  virtual void setLocalFilePath(std::optional<std::string> path) = 0;
  [[nodiscard]] virtual std::optional<std::string> patchFilePath() const = 0;
  virtual void setPatchFilePath(std::optional<std::string> path) = 0;

  // Replaces the settings by those of the local settings file, with the pending changes laid over them, also by none
  // when it is missing or damaged, and starts the upload of changes that wait in the patch file, unless one is in
  // flight. Reads and writes files on the caller's thread.
  virtual void updateLocalSettings() = 0;

  // Fetches the settings document, makes it the current settings and stores them. The completion runs once, with none
  // or an error, for as long as the manager exists; a failed call is repeated with back-off first, which can take
  // hours. While a fetch runs, further ones end with `fetchInProgress` before they return.
  virtual void fetchRemoteSettings(Completion completion) = 0;

  // Forgets the cached token; calls made before still use it.
  virtual void clearCCRToken() = 0;

  // Reads. A path is a root section ("common", "macos", "windows") and property names, joined by "."; nothing is
  // escaped. Each gives none when there are no settings, no such setting, or a setting of another kind; no kind is
  // converted to another. Each works on one whole tree, never on half of an update.
  [[nodiscard]] virtual std::optional<Value> getSettingValue(std::string_view path) const = 0;
  [[nodiscard]] virtual std::optional<bool> getBoolValue(std::string_view path) const = 0;
  // A whole number that fits 64 signed bits; 2.0 reads as 2, 2.5 as none.
  [[nodiscard]] virtual std::optional<std::int64_t> getNumberValue(std::string_view path) const = 0;
  [[nodiscard]] virtual std::optional<std::string> getStringValue(std::string_view path) const = 0;
  // True for a read-only setting and for every setting inside a read-only group.
  [[nodiscard]] virtual std::optional<bool> getSettingIsReadonly(std::string_view path) const = 0;

  // Changes a setting. When the call returns, the change is in the current settings (where the schema has the setting
  // and it is not read-only), in the local settings file, and durable in the patch file; it is uploaded as soon as the
  // service takes it, after a restart too. Changes made while an upload is in flight go out with the next one. Nothing
  // is reported; the log tells of what went wrong:
  //   no usable patch file path    the change is refused, in memory too
  //   the disk fails or is full    the change is applied, and written with the next change; until then it is kept in
  //                                memory, as long as a manager on these files exists. It is uploaded meanwhile unless
  //                                a patch file is there and cannot be renamed either
  //   a value that the file format cannot hold (null, a real that is not finite, control characters)
  //                                the change is applied and neither kept nor uploaded
  //   path and value nest deeper than 510 levels together, a name or string is longer than 65,535 or 16,777,216 bytes,
  //   more than 262,144 values or 24 MiB of text are pending            the change is refused, in memory too
  //   another process of this library uses the same files (an advisory lock)    the same
  // Writes and flushes files on the caller's thread, and waits for another thread that does so for the same files. The
  // tree of a second manager on the same files follows with its own next fetch or updateLocalSettings().
  virtual void setSettingValue(std::string_view path, const Value& value) = 0;

  // A group as the map of its setting nodes, or a setting that holds a map.
  [[nodiscard]] virtual std::optional<Map> getDictValue(std::string_view path) const = 0;

  // As setSettingValue(), for values of one kind.
  virtual void setBoolValue(std::string_view path, bool value) = 0;
  virtual void setStringValue(std::string_view path, std::string_view value) = 0;
  virtual void setObjectValue(std::string_view path, const Value& value) = 0;

  // Registers the device's push-notification id, as it is given. The completion runs once, with none or an error, for
  // as long as the manager exists; a failed call is repeated with back-off first. Nothing is kept: an id that was not
  // confirmed before the process ended is the host's to register again. Registrations are independent of each other.
  virtual void setPNSID(std::string id, Completion completion) = 0;

  // Policy records, made anew by each call from one whole tree: a record never mixes two revisions of the settings, and
  // equal settings give equal records. None of these fails; a setting that is missing or of another kind gives a
  // default, leaves a piece out, or gives none, as docs/policy.md lists. They wait for nothing, as reads do;
  // pmProxySettings() alone may wait for standard output.
  [[nodiscard]] virtual QLTimeLimits timeLimits() const = 0;
  // None when curfew, quota, site list or content categories are not enabled, or settings they need are missing.
  [[nodiscard]] virtual std::optional<QLCurfew> curfew() const = 0;
  [[nodiscard]] virtual std::optional<QLQuota> quota() const = 0;
  [[nodiscard]] virtual std::optional<QLCBrowsingProtection> browsingProtection() const = 0;
  [[nodiscard]] virtual std::optional<QLContentCategories> contentCategories() const = 0;
  // None when no scan is scheduled or its time or frequency is not complete.
  [[nodiscard]] virtual std::optional<QLCSchedule> schedule() const = 0;
  // None without the policy manager's group, without a known type of proxy, and for a user-defined proxy without an
  // address. For each address without a host that it looks at, and leaves out, a line "returning nil here" goes to
  // standard output: for none when there is no record, and for none of a list that holds an element that is no map.
  [[nodiscard]] virtual std::optional<QLCPMProxySettings> pmProxySettings() const = 0;
  [[nodiscard]] virtual QLCFirewall firewall() const = 0;
  // None without a known type of proxy, and for a user-defined proxy without an address. Silent.
  [[nodiscard]] virtual std::optional<QLCVORT2Settings> vort2ProxySettings() const = 0;
};

}  // namespace qlczephra
