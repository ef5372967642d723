#include "tests/simulation/change_model.h"

#include <algorithm>
#include <string_view>

namespace qlczephra::test {

namespace {

constexpr std::int64_t base = 10;  // the last digit names the setting

std::string about(std::size_t setting, const char* what, std::int64_t value) {
  return std::string(settingPaths[setting]) + " " + what + " " + std::to_string(value);
}

}  // namespace

SettingValues settingValuesOf(const Map& map) {
  SettingValues values;
  for (std::size_t i = 0; i < settingPaths.size(); ++i) {
    const std::string_view path = settingPaths[i];
    const std::size_t dot = path.find('.');
    const Value* section = map.find(path.substr(0, dot));
    const Value* value =
        section == nullptr || section->map() == nullptr ? nullptr : section->map()->find(path.substr(dot + 1));
    if (value != nullptr) values[i] = value->wholeNumber().value_or(-1);
  }
  return values;
}

std::int64_t ChangeModel::nextValue(std::size_t setting) noexcept {
  std::int64_t& newest = newestWritten_[setting];
  newest = (newest / base + 1) * base + initialValue(setting);
  return newest;
}

void ChangeModel::accept(std::size_t setting, std::int64_t value) noexcept {
  newestAccepted_[setting] = std::max(newestAccepted_[setting], value);
  keepInMemory(setting, value);
}

void ChangeModel::keepInMemory(std::size_t setting, std::int64_t value) noexcept {
  newestKept_[setting] = std::max(newestKept_[setting], value);
}

std::optional<std::string> ChangeModel::inventedIn(const char* place, const SettingValues& values) const {
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (!values[i] || *values[i] == initialValue(i)) continue;
    const bool written = *values[i] > 0 && *values[i] % base == initialValue(i) && *values[i] <= newestWritten_[i];
    if (!written) return std::string(place) + " has what was never written: " + about(i, "=", *values[i]);
  }
  return std::nullopt;
}

std::optional<std::string> ChangeModel::lostFrom(const SettingValues& service, const SettingValues& sendingFile,
                                                 const SettingValues& patchFile) const {
  for (std::size_t i = 0; i < settingPaths.size(); ++i) {
    const std::int64_t newest =
        std::max({service[i].value_or(0), sendingFile[i].value_or(0), patchFile[i].value_or(0)});
    if (newest < newestAccepted_[i]) return "an accepted change is lost: " + about(i, "=", newestAccepted_[i]);
  }
  return std::nullopt;
}

std::optional<std::string> ChangeModel::notArrivedAt(const SettingValues& service) const {
  for (std::size_t i = 0; i < settingPaths.size(); ++i) {
    if (service[i].value_or(0) < newestKept_[i]) {
      return "the service has no newer value than " + about(i, "=", service[i].value_or(0)) + " but there was " +
             std::to_string(newestKept_[i]);
    }
  }
  return std::nullopt;
}

}  // namespace qlczephra::test
