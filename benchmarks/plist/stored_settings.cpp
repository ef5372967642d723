#include "benchmarks/plist/stored_settings.h"

#include <cstdint>
#include <map>
#include <utility>
#include <variant>

#include "benchmarks/plist/expat_reader.h"
#include "benchmarks/support/documents.h"
#include "benchmarks/support/effective_tree.h"
#include "benchmarks/support/require.h"
#include "platform/plist/plist.h"

namespace qlczephra::bench {

namespace {

std::string checkedText(std::size_t settings) {
  const Value tree = effectiveTreeOf(documentOf(settings).text);
  std::string text = plist::write(tree).value();
  require(readWithOurs(text) == tree, "our reader disagrees with our writer");

  std::string written;
  require(writeWithLibplist(readWithLibplist(text).get(), &written) > 0, "libplist wrote nothing");
  require(readWithOurs(written) == tree, "libplist makes something else of the stored settings");

  pugi::xml_document document;
  readWithPugixml(text, document);
  require(readWithOurs(writeWithPugixml(document, text.size())) == tree,
          "pugixml makes something else of the stored settings");

  require(ExpatReader().read(text) == tree, "the reader over expat makes something else of the text");
  return text;
}

}  // namespace

// Only texts are kept: trees of other sizes between the pieces of the one that is measured would scatter it.
const std::string& storedText(std::size_t settings) {
  static std::map<std::size_t, std::string> all;
  std::string& text = all[settings];
  if (text.empty()) text = checkedText(settings);
  return text;
}

std::size_t writeWithLibplist(plist_t node, std::string* copy) {
  char* text = nullptr;
  std::uint32_t length = 0;
  plist_to_xml(node, &text, &length);
  if (copy != nullptr) copy->assign(text, length);
  plist_to_xml_free(text);
  return length;
}

std::string writeWithPugixml(const pugi::xml_document& document, std::size_t expectedSize) {
  struct Writer : pugi::xml_writer {
    void write(const void* data, std::size_t size) override { text.append(static_cast<const char*>(data), size); }
    std::string text;
  } writer;
  writer.text.reserve(expectedSize + expectedSize / 8);
  document.save(writer, "\t", pugi::format_indent, pugi::encoding_utf8);
  return std::move(writer.text);
}

Value readWithOurs(const std::string& text) {
  auto read = plist::read(text);
  auto* value = std::get_if<Value>(&read);
  require(value != nullptr, "our reader refuses the text");
  return std::move(*value);
}

PlistNode readWithLibplist(const std::string& text) {
  plist_t node = nullptr;
  plist_from_xml(text.data(), static_cast<std::uint32_t>(text.size()), &node);
  return PlistNode(node);
}

void readWithPugixml(const std::string& text, pugi::xml_document& document) {
  const auto options = pugi::parse_default | pugi::parse_declaration | pugi::parse_doctype;
  require(document.load_buffer(text.data(), text.size(), options, pugi::encoding_utf8), "pugixml refuses the text");
}

}  // namespace qlczephra::bench
