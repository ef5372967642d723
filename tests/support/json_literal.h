// Values and maps in tests, written as JSON.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>

#include "platform/json/json.h"
#include "qlczephra/value.h"

namespace qlczephra::test {

inline Value fromJson(std::string_view text) {
  auto read = json::read(text);
  if (const auto* error = std::get_if<json::ReadError>(&read)) {
    throw std::invalid_argument("a test's JSON is wrong: " + error->reason + ": " + std::string(text));
  }
  return std::get<Value>(std::move(read));
}

inline Map mapFromJson(std::string_view text) {
  const Value value = fromJson(text);
  if (value.map() == nullptr) throw std::invalid_argument("a test's JSON is no object: " + std::string(text));
  return *value.map();
}

// For messages of failing tests.
inline std::string toJson(const Value& value) {
  return json::write(value).value_or("(beyond JSON)");
}

}  // namespace qlczephra::test

namespace qlczephra {
// How GoogleTest shows values.
inline void PrintTo(const Value& value, std::ostream* stream) {
  *stream << test::toJson(value);
}
inline void PrintTo(const Map& map, std::ostream* stream) {
  *stream << test::toJson(Value(map));
}
}  // namespace qlczephra
