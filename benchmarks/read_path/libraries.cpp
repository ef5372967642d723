#include "benchmarks/read_path/libraries.h"

#include <algorithm>
#include <boost/property_tree/json_parser.hpp>
#include <sstream>

namespace qlczephra::bench {

std::string jsonPointerOf(std::string path) {
  std::replace(path.begin(), path.end(), '.', '/');
  return "/" + path;
}

std::optional<bool> NlohmannTree::boolean(const nlohmann::json::json_pointer& pointer) const {
  // Asking first is much cheaper than the exception for what is missing.
  if (!tree_.contains(pointer)) return std::nullopt;
  const auto* value = tree_[pointer].get_ptr<const nlohmann::json::boolean_t*>();
  return value == nullptr ? std::nullopt : std::optional(*value);
}

std::optional<bool> RapidJsonTree::boolean(const std::string& pointer) const {
  const rapidjson::Value* value = rapidjson::Pointer(pointer.data(), pointer.size()).Get(tree_);
  return value == nullptr || !value->IsBool() ? std::nullopt : std::optional(value->GetBool());
}

PropertyTree::PropertyTree(const std::string& json) {
  std::istringstream text(json);
  boost::property_tree::read_json(text, tree_);
}

std::optional<bool> PropertyTree::boolean(const std::string& path) const {
  const auto child = tree_.get_child_optional(path);
  if (!child) return std::nullopt;
  // All leaves of a property tree are text; a translator would read it through a stream.
  const std::string& text = child->data();
  return text == "true" ? std::optional(true) : text == "false" ? std::optional(false) : std::nullopt;
}

}  // namespace qlczephra::bench
