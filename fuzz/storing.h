// That a property list holds what it can hold, and nothing else.
#pragma once

#include <string_view>

#include "fuzz/require.h"
#include "platform/plist/plist.h"
#include "qlczephra/value.h"
#include "value/visit.h"

namespace qlczephra::fuzz {

// Whether a value read from JSON is one that a property list can hold: without null and without characters that XML
// forbids. (Other obstacles do not come from JSON.)
class Storable {
 public:
  bool scalar(const Value& value) { return !value.isNull() && (!value.string() || isText(*value.string())); }
  bool begin(const Value&) { return true; }
  bool key(std::string_view text) { return isText(text); }
  bool end(const Value&) { return true; }

 private:
  static bool isText(std::string_view text) {
    for (const char character : text) {
      const auto byte = static_cast<unsigned char>(character);
      if (byte < 0x20 && character != '\t' && character != '\n' && character != '\r') return false;
    }
    return text.find("\xEF\xBF\xBE") == text.npos && text.find("\xEF\xBF\xBF") == text.npos;
  }
};

// Writes the value and reads it back. False when a property list cannot hold it.
inline bool requireStored(const Value& value) {
  Storable storable;
  const bool expected = visit(value, storable) && value.nesting() <= plist::maximumNesting;
  const auto text = plist::write(value);
  require(text.has_value() == expected);
  if (!text) return false;
  const auto again = plist::read(*text);
  require(std::holds_alternative<Value>(again) && std::get<Value>(again) == value);
  return true;
}

}  // namespace qlczephra::fuzz
