#include "tools/leaves.h"

#include "platform/json/json.h"

namespace qlczephra::tools {
namespace {

void collect(const Map& values, const std::string& prefix, Leaves& leaves) {
  for (const auto [name, value] : values) {
    const std::string path = prefix + std::string(name);
    if (const Map* group = value.map(); group != nullptr && !group->empty()) {
      collect(*group, path + ".", leaves);
    } else {
      leaves.insert_or_assign(path, value);
    }
  }
}

}  // namespace

Leaves leavesOf(const Map& values) {
  Leaves leaves;
  collect(values, "", leaves);
  return leaves;
}

std::string shown(const Value& value) {
  return json::write(value).value_or("(a value that JSON cannot show)");
}

}  // namespace qlczephra::tools
