// What the writing process of the kill tests and the test that kills it agree on.
//
// The process writes settings "common.s0" to "common.s7". Each value is larger than all that were ever written to any
// of them, and names its setting in its last digit. After each write it tells the test over a pipe.
#pragma once

#include <cstdint>
#include <string>
#include <type_traits>

namespace qlczephra::test {

inline constexpr std::int64_t killedSettings = 8;

inline std::string killedSettingPath(std::int64_t setting) {
  return "common.s" + std::to_string(setting);
}
inline std::int64_t killedValue(std::int64_t count, std::int64_t setting) {
  return count * 10 + setting;
}
inline std::int64_t settingOfKilledValue(std::int64_t value) {
  return value % 10;
}

// One message; short enough that a pipe takes it whole or not at all.
struct Acknowledgement {
  enum class Kind : std::int64_t {
    begun,     // the manager has loaded its files; no value
    writing,   // the value is about to be written
    accepted,  // the writer's call returned with the disk in order
    unsaved,   // it returned with the disk refusing to grow a file
  };
  Kind kind;
  std::int64_t value;
};
static_assert(std::is_trivially_copyable_v<Acknowledgement>);

}  // namespace qlczephra::test
