// Whatever property list is read can be written and reads back equal, and nothing else makes trouble.
#include "platform/plist/plist.h"

#include "fuzz/require.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace qlczephra;
  const auto result = plist::read({reinterpret_cast<const char*>(data), size});
  const auto* value = std::get_if<Value>(&result);
  if (value == nullptr) {
    fuzz::require(!std::get<plist::ReadError>(result).reason.empty());
    return 0;
  }
  const auto text = plist::write(*value);
  fuzz::require(text.has_value());
  const auto again = plist::read(*text);
  fuzz::require(std::holds_alternative<Value>(again) && std::get<Value>(again) == *value);
  return 0;
}
