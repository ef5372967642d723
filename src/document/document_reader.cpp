#include "document/document_reader.h"

#include <optional>
#include <utility>

#include "document/json_object_reader.h"

namespace qlczephra::document {

namespace {

constexpr std::string_view dataKey = "data";
constexpr std::string_view schemaKey = "eff_schema";
constexpr std::string_view valuesKey = "values";

constexpr std::size_t bytesPerProperty = 160;

}  // namespace

bool DocumentReader::read(DocumentContent& content) {
  if (!tokens_.takeIf('{')) {
    Value other;
    return values_.read(other, 0) && tokens_.fail("no object at its top");
  }
  const bool isRead = readMembers(tokens_, values_, [this](std::string_view key) {
    if (key != dataKey) return values_.skip(1);
    content_.clear();
    return tokens_.takeIf('{') ? readData() : values_.skip(1);
  });
  if (!isRead) return false;
  content = std::move(content_);
  return tokens_.isAtEnd() || tokens_.fail("something after the text's end");
}

bool DocumentReader::readData() {
  // Values need the schema. Where they come first they are passed over, and read once the schema is there.
  std::optional<json::TokenReader::Place> valuesAt;
  bool haveSchema = false;
  bool haveValues = false;  // in the present schema
  const bool isRead = readMembers(tokens_, values_, [&](std::string_view key) {
    if (key == schemaKey) {
      content_.clear();
      haveValues = false;
      haveSchema = tokens_.takeIf('{');
      return haveSchema ? readSchemas() : values_.skip(2);
    }
    if (key != valuesKey) return values_.skip(2);
    valuesAt = tokens_.place();
    haveValues = haveSchema;
    return haveSchema ? readValues() : values_.skip(2);
  });
  if (!isRead || haveValues || !haveSchema || !valuesAt) return isRead;
  const json::TokenReader::Place end = tokens_.place();
  tokens_.goTo(*valuesAt);
  const json::ValueReader::Uncounted again(values_);
  if (!readValues()) return false;
  tokens_.goTo(end);
  return true;
}

bool DocumentReader::readSchemas() {
  // Hardly a property takes less of a document. Memory that stays unused is not touched.
  content_.schema.reserve(tokens_.size() / bytesPerProperty);
  return readMembers(tokens_, values_, [this](std::string_view key) {
    std::optional<PropertySchema>* const section = content_.section(key);
    if (section == nullptr) return values_.skip(depthOfSections);
    section->reset();
    return tokens_.takeIf('{') ? schemaReader_.read(content_.schema, *section) : values_.skip(depthOfSections);
  });
}

bool DocumentReader::readValues() {
  ++content_.visit;
  if (!tokens_.takeIf('{')) return values_.skip(2);
  return readMembers(tokens_, values_, [this](std::string_view key) {
    std::optional<PropertySchema>* const section = content_.section(key);
    if (section == nullptr || !*section) return values_.skip(depthOfSections);
    return valuesReader_.read(content_.schema, **section, content_.visit);
  });
}

}  // namespace qlczephra::document
