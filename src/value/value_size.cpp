#include "value/value_size.h"

#include <algorithm>

#include "value/visit.h"

namespace qlczephra {

namespace {

struct Measure {
  ValueSize extent;

  bool scalar(const Value& value) {
    count();
    if (const auto string = value.string()) {
      extent.bytes += string->size();
      extent.longestString = std::max(extent.longestString, string->size());
    }
    return true;
  }
  bool begin(const Value&) {
    count();
    return true;
  }
  bool key(std::string_view name) {
    extent.bytes += name.size();
    extent.longestKey = std::max(extent.longestKey, name.size());
    return true;
  }
  bool end(const Value&) { return true; }

  void count() { ++extent.values; }
};

}  // namespace

ValueSize valueSizeOf(const Value& value) {
  Measure measure;
  static_cast<void>(visit(value, measure));
  --measure.extent.values;  // the value itself is no member
  return measure.extent;
}

}  // namespace qlczephra
