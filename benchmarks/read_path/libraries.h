// Peers that hold the same values in documents of known libraries. For one thread; nothing replaces what they hold.
#pragma once

#include <rapidjson/document.h>
#include <rapidjson/pointer.h>
#include <boost/property_tree/ptree.hpp>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "qlczephra/value.h"

namespace qlczephra::bench {

// Slashes for dots. The names of the documents have nothing that a JSON pointer escapes.
[[nodiscard]] std::string jsonPointerOf(std::string path);

class NlohmannTree {
 public:
  explicit NlohmannTree(const std::string& json) : tree_(nlohmann::json::parse(json)) {}
  [[nodiscard]] std::optional<bool> boolean(const nlohmann::json::json_pointer& pointer) const;

 private:
  nlohmann::json tree_;
};

class RapidJsonTree {
 public:
  explicit RapidJsonTree(const std::string& json) { tree_.Parse(json.data(), json.size()); }
  [[nodiscard]] std::optional<bool> boolean(const std::string& pointer) const;

 private:
  rapidjson::Document tree_;
};

class PropertyTree {
 public:
  explicit PropertyTree(const std::string& json);
  [[nodiscard]] std::optional<bool> boolean(const std::string& path) const;

 private:
  boost::property_tree::ptree tree_;
};

}  // namespace qlczephra::bench
