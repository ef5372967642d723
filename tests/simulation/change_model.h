// What must be true of a host's changes, in the plainest form: no file, no lock, no order of operations.
//
// A host changes a few integer settings. Each value is written once, is larger than all that were written to its
// setting before, and names its setting in its last digit; so any value tells where it belongs and how new it is.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "qlczephra/value.h"

namespace qlczephra::test {

inline constexpr std::array<const char*, 4> settingPaths = {"common.a", "common.b", "macos.c", "macos.d"};

// The value that each setting has in some place; none where the place does not hold it.
using SettingValues = std::array<std::optional<std::int64_t>, settingPaths.size()>;

// Of a patch map, or of the "values" section of a document.
[[nodiscard]] SettingValues settingValuesOf(const Map& map);

class ChangeModel {
 public:
  // What a setting holds before anybody writes it.
  [[nodiscard]] static std::int64_t initialValue(std::size_t setting) noexcept {
    return static_cast<std::int64_t>(setting);
  }

  // A value that is written now.
  [[nodiscard]] std::int64_t nextValue(std::size_t setting) noexcept;
  // The call returned, and no disk call failed in it: the change survives whatever comes.
  void accept(std::size_t setting, std::int64_t value) noexcept;
  // The call returned, and a disk call failed in it: the change survives as long as the process and a manager do.
  void keepInMemory(std::size_t setting, std::int64_t value) noexcept;
  void loseMemory() noexcept { newestKept_ = newestAccepted_; }

  // The invariants; each gives what is wrong.
  // The values in `place` are of their settings and were written.
  [[nodiscard]] std::optional<std::string> inventedIn(const char* place, const SettingValues& values) const;
  // Every accepted change, or a newer one of its setting, is in one of the places.
  [[nodiscard]] std::optional<std::string> lostFrom(const SettingValues& service, const SettingValues& sendingFile,
                                                    const SettingValues& patchFile) const;
  // At rest the service has every change that was accepted or kept, or a newer one.
  [[nodiscard]] std::optional<std::string> notArrivedAt(const SettingValues& service) const;

 private:
  using Newest = std::array<std::int64_t, settingPaths.size()>;  // 0: none

  Newest newestWritten_{};
  Newest newestAccepted_{};
  Newest newestKept_{};
};

}  // namespace qlczephra::test
