#include <string>

#include "benchmarks/interpret/parsers.h"
#include "benchmarks/support/require.h"

namespace qlczephra::bench {

namespace {

namespace ondemand = simdjson::ondemand;

std::uint64_t walk(ondemand::value value);

std::uint64_t walkObject(ondemand::object object) {
  std::uint64_t seen = 1;
  for (auto field : object) {
    const std::string_view key = field.unescaped_key();
    seen += key.size() + walk(field.value());
  }
  return seen;
}

std::uint64_t walkArray(ondemand::array array) {
  std::uint64_t seen = 1;
  for (auto element : array) seen += walk(element.value());
  return seen;
}

std::uint64_t walkNumber(ondemand::value value) {
  const ondemand::number number = value.get_number();
  return number.is_int64() ? static_cast<std::uint64_t>(number.get_int64()) : 1;
}

std::uint64_t walk(ondemand::value value) {
  switch (value.type()) {
    case ondemand::json_type::object:
      return walkObject(value.get_object());
    case ondemand::json_type::array:
      return walkArray(value.get_array());
    case ondemand::json_type::string:
      return std::string_view(value.get_string()).size();
    case ondemand::json_type::number:
      return walkNumber(value);
    case ondemand::json_type::boolean:
      return bool(value.get_bool()) ? 1 : 2;
    case ondemand::json_type::null:
      break;
  }
  return 3;
}

}  // namespace

std::uint64_t OndemandWalk::over(const simdjson::padded_string& text) {
  try {
    ondemand::document document = parser_.iterate(text);
    return walkObject(document.get_object());
  } catch (const simdjson::simdjson_error& error) {
    require(false, std::string("simdjson refuses the document: ") + error.what());
    return 0;
  }
}

}  // namespace qlczephra::bench
