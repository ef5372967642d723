// Reads the text of a settings document in one pass: schemas are taken apart while they are read, values stay values.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "document/schema.h"
#include "platform/json/structural_index.h"
#include "platform/json/token_reader.h"
#include "platform/json/value_reader.h"
#include "qlczephra/value.h"
#include "value/key_cache.h"

namespace qlczephra::document {

// The root sections that a document has schemas for.
struct SectionName {
  std::string_view name;
  bool isRequired;
};
inline constexpr std::array<SectionName, 3> sectionNames = {{{"common", true}, {"macos", true}, {"windows", false}}};

// What a document's text says. Whatever is missing or of another kind than expected counts as absent.
struct DocumentContent {
  Schema schema;
  std::array<std::optional<PropertySchema>, sectionNames.size()> sections;  // as sectionNames
  Map values;                                                               // root section to values
};

// For one text and one call of read().
class DocumentReader {
 public:
  // `index` is that of `text` and without an error; both outlive the reader.
  DocumentReader(std::string_view text, const json::StructuralIndex& index) : tokens_(text, index), values_(tokens_) {}

  // False, and the tokens' error(), when the text is no JSON object or beyond the limits.
  [[nodiscard]] bool read(DocumentContent& content);
  [[nodiscard]] const json::TokenReader& tokens() const noexcept { return tokens_; }

 private:
  enum class Type : std::uint8_t { unknown, object, integer, string, boolean, array };

  // A map of the text that is open.
  struct Level {
    enum class Map : std::uint8_t { schema, properties };
    Map map;
    PropertySchema property;  // of a schema
    Type type;                // of a schema
    std::size_t before;       // how many properties of groups around it were found before
  };

  template <typename Member>
  bool readMembers(Member member);
  bool failAtComma();
  bool readData();
  bool readSchemas();
  bool readSection(std::optional<PropertySchema>& section);
  bool readMember(bool& opened);
  bool readType(Type& type);
  bool readFlag(bool& flag);
  [[nodiscard]] std::size_t depth() const noexcept;
  bool open(Level::Map map, PropertySchema property);
  bool close(std::optional<PropertySchema>& section);
  static bool takesDefault(Type type, Value& byDefault);

  json::TokenReader tokens_;
  json::ValueReader values_;
  KeyCache names_;
  DocumentContent* content_ = nullptr;
  std::vector<Level> levels_;
  std::vector<PropertySchema> found_;  // of the groups that are open, the innermost last
};

}  // namespace qlczephra::document
