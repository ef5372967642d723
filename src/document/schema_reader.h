// Reads the schema of a root section, token by token.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "document/schema.h"
#include "platform/json/token_reader.h"
#include "platform/json/value_reader.h"
#include "qlczephra/value.h"
#include "value/key_interner.h"

namespace qlczephra::document {

class SchemaReader {
 public:
  SchemaReader(json::TokenReader& tokens, json::ValueReader& values) : tokens_(tokens), values_(values) {}

  // Reads a schema whose bracket was just taken: the section's into `section`, the properties inside into `schema`.
  // Whatever is missing or of another kind than expected counts as absent. False, and the tokens' error(), where the
  // text is no JSON or beyond the limits.
  [[nodiscard]] bool read(Schema& schema, std::optional<PropertySchema>& section);

 private:
  enum class Type : std::uint8_t { unknown, object, integer, string, boolean, array };

  // A map of the text that is open.
  struct Level {
    enum class Map : std::uint8_t { schema, properties };
    Map map;
    Type type;             // of a schema
    std::size_t property;  // which of those found: of which it is the schema, or the group
  };

  bool readMember(std::string_view key, bool& opened);
  bool readProperty(std::string_view name, bool& opened);
  bool readType(Type& type);
  bool readFlag(bool& flag);
  [[nodiscard]] std::size_t depth() const noexcept;
  bool open(Level::Map map, std::size_t property);
  bool close(Schema& schema, std::optional<PropertySchema>& section);
  static bool takesDefault(Type type, Value& byDefault);

  json::TokenReader& tokens_;
  json::ValueReader& values_;
  KeyInterner names_;
  std::vector<Level> levels_;
  // The properties of which a schema is open, and behind each what was found inside so far. The section is the first.
  std::vector<PropertySchema> found_;
};

}  // namespace qlczephra::document
