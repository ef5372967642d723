// Reads the text of a settings document: the schemas of its root sections, and what its values offer to them.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "document/schema.h"
#include "document/schema_reader.h"
#include "document/values_reader.h"
#include "platform/json/structural_index.h"
#include "platform/json/token_reader.h"
#include "platform/json/value_reader.h"

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
  std::uint32_t visit = 0;  // in which values were offered to the sections

  void clear() noexcept {
    schema.clear();
    sections = {};
    visit = 0;
  }
  // Null for what is no root section.
  [[nodiscard]] std::optional<PropertySchema>* section(std::string_view name) noexcept {
    for (std::size_t i = 0; i < sectionNames.size(); ++i) {
      if (sectionNames[i].name == name) return &sections[i];
    }
    return nullptr;
  }
};

// For one text and one call of read().
class DocumentReader {
 public:
  // `index` is that of `text` and without an error; both outlive the reader.
  DocumentReader(std::string_view text, const json::StructuralIndex& index)
      : tokens_(text, index), values_(tokens_), schemaReader_(tokens_, values_), valuesReader_(tokens_, values_) {}

  // False, and the tokens' error(), when the text is no JSON object or beyond the limits.
  [[nodiscard]] bool read(DocumentContent& content);
  [[nodiscard]] const json::TokenReader& tokens() const noexcept { return tokens_; }

 private:
  bool readData();
  bool readSchemas();
  bool readValues();

  json::TokenReader tokens_;
  json::ValueReader values_;
  SchemaReader schemaReader_;
  ValuesReader valuesReader_;
  DocumentContent content_;
};

}  // namespace qlczephra::document
