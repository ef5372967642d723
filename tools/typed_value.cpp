#include "tools/typed_value.h"

#include <CLI/CLI.hpp>
#include <charconv>
#include <optional>

#include "platform/json/json.h"
#include "tools/failure.h"

namespace qlczephra::tools {
namespace {

template <typename Integer>
std::optional<Value> integerIn(const std::string& text) {
  Integer number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

Value jsonIn(const std::string& text) {
  auto read = json::read(text);
  if (const auto* error = std::get_if<json::ReadError>(&read)) {
    throw Misuse("the value is no JSON (" + error->reason + "); give a string in double quotes, or use --string");
  }
  return std::get<Value>(std::move(read));
}

}  // namespace

void TypedValue::addTo(CLI::App& command) {
  command.add_option("VALUE", text_, "The new value; one that begins with '-' comes last, after '--'")->required();
  CLI::Option_group* kind = command.add_option_group("Kind of the value, exactly one");
  kind->add_flag("--bool", isBoolean_, "VALUE is true or false");
  kind->add_flag("--int", isInteger_, "VALUE is a whole number");
  kind->add_flag("--string", isString_, "VALUE is a string, as it stands");
  kind->add_flag("--json", isJson_, "VALUE is JSON: a list, a map, a number with a fraction, ...");
}

Value TypedValue::get() const {
  if (int{isBoolean_} + int{isInteger_} + int{isString_} + int{isJson_} != 1) {
    throw Misuse("the kind of the value is not clear; give one of --bool, --int, --string and --json");
  }
  if (isString_) return text_;
  if (isJson_) return jsonIn(text_);
  if (isBoolean_) {
    if (text_ == "true" || text_ == "false") return text_ == "true";
    throw Misuse(text_ + " is no boolean; give true or false");
  }
  if (const auto number = integerIn<std::int64_t>(text_)) return *number;
  if (const auto number = integerIn<std::uint64_t>(text_)) return *number;
  throw Misuse(text_ + " is no whole number of 64 bits; give digits only");
}

}  // namespace qlczephra::tools
