#include "service/values_file.h"

#include <filesystem>

#include "platform/json/json.h"
#include "service/files.h"

namespace qlczephra::service {

std::variant<Map, ValuesFileError> readValuesFile(const std::string& path) {
  std::error_code ignored;
  if (!std::filesystem::exists(path, ignored)) return Map();
  const auto content = readFile(path);
  if (!content) return ValuesFileError{"cannot read " + path};
  const auto read = json::read(*content);
  if (const auto* error = std::get_if<json::ReadError>(&read)) {
    return ValuesFileError{path + " is not JSON: " + error->reason};
  }
  const Map* values = std::get<Value>(read).map();
  if (values == nullptr) return ValuesFileError{path + " is not a JSON object of product names"};
  return *values;
}

ValuesWriter valuesFileWriter(std::string path) {
  return [path = std::move(path)](const Map& valuesByProduct) {
    const auto text = json::write(Value(valuesByProduct), json::Style::indented);
    return text && replaceFile(path, *text + "\n");
  };
}

}  // namespace qlczephra::service
