// The values of all products in one JSON file: {product name: values, ...}.
#pragma once

#include <string>
#include <variant>

#include "service/store.h"

namespace qlczephra::service {

struct ValuesFileError {
  std::string reason;  // names the file
};

// What the file holds; an empty map when there is no file yet.
[[nodiscard]] std::variant<Map, ValuesFileError> readValuesFile(const std::string& path);

// Replaces the file as a whole at every change.
[[nodiscard]] ValuesWriter valuesFileWriter(std::string path);

}  // namespace qlczephra::service
