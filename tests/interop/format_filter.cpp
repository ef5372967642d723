// Turns documents of one format into another: format_filter (json|plist) (json|plist)
//
// Standard input is a series of documents, each a line with its length in bytes and then the bytes. So is standard
// output, in the same order, with the line "refused" for what cannot be read or written.
#include <iostream>
#include <optional>
#include <string>

#include "platform/json/json.h"
#include "platform/plist/plist.h"

namespace {

using qlczephra::Value;

std::optional<Value> read(std::string_view format, std::string_view text) {
  const auto valueIn = [](auto result) {
    return std::holds_alternative<Value>(result) ? std::optional(std::get<Value>(result)) : std::nullopt;
  };
  return format == "json" ? valueIn(qlczephra::json::read(text)) : valueIn(qlczephra::plist::read(text));
}

std::optional<std::string> write(std::string_view format, const Value& value) {
  return format == "json" ? qlczephra::json::write(value) : qlczephra::plist::write(value);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  std::size_t length = 0;
  while (std::cin >> length && std::cin.get() == '\n') {
    std::string text(length, '\0');
    if (!std::cin.read(text.data(), static_cast<std::streamsize>(length))) return 1;
    const auto value = read(argv[1], text);
    const auto written = value ? write(argv[2], *value) : std::nullopt;
    if (written) {
      std::cout << written->size() << '\n' << *written;
    } else {
      std::cout << "refused\n";
    }
  }
  return 0;
}
