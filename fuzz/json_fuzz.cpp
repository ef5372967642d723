// Whatever JSON is read can be written in both styles and reads back equal, and nothing else makes trouble.
#include "platform/json/json.h"

#include "fuzz/require.h"
#include "value/limits.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace qlczephra;
  const auto result = json::read({reinterpret_cast<const char*>(data), size});
  const auto* value = std::get_if<Value>(&result);
  if (value == nullptr) {
    fuzz::require(!std::get<json::ReadError>(result).reason.empty());
    return 0;
  }
  fuzz::require(value->nesting() <= limits::documentNesting);
  for (const auto style : {json::Style::compact, json::Style::indented}) {
    const auto text = json::write(*value, style);
    fuzz::require(text.has_value());
    const auto again = json::read(*text);
    fuzz::require(std::holds_alternative<Value>(again) && std::get<Value>(again) == *value);
  }
  return 0;
}
