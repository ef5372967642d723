// Reads the service's values, token by token, each to the property that it is offered to.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "document/schema.h"
#include "platform/json/token_reader.h"
#include "platform/json/value_reader.h"

namespace qlczephra::document {

class ValuesReader {
 public:
  ValuesReader(json::TokenReader& tokens, json::ValueReader& values) : tokens_(tokens), values_(values) {}

  // Reads what is offered to a root section of `schema` in a visit of this number, and to the properties inside. What
  // they cannot take is passed over. False, and the tokens' error(), where the text is no JSON or beyond the limits.
  [[nodiscard]] bool read(Schema& schema, PropertySchema& section, std::uint32_t visit);

 private:
  struct Level {
    std::span<PropertySchema> properties;
    std::uint32_t visit;
    std::uint32_t expected;  // which property the next value is probably offered to
  };

  bool readOffered(PropertySchema& property, std::uint32_t visit, bool isReadonly, bool& opened);
  void open(PropertySchema& group);
  [[nodiscard]] std::size_t depth() const noexcept;

  json::TokenReader& tokens_;
  json::ValueReader& values_;
  Schema* schema_ = nullptr;
  std::uint32_t lastVisit_ = 0;
  std::vector<Level> levels_;
};

}  // namespace qlczephra::document
