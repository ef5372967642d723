#include "benchmarks/plist/stored_settings.h"

#include <cstdint>
#include <map>
#include <string_view>
#include <variant>

#include "benchmarks/plist/expat_reader.h"
#include "benchmarks/support/documents.h"
#include "benchmarks/support/effective_tree.h"
#include "benchmarks/support/require.h"
#include "platform/plist/plist.h"

namespace qlczephra::bench {

namespace {

bool isTextOf(const Value& tree, std::string_view text) {
  const auto read = plist::read(text);
  const auto* value = std::get_if<Value>(&read);
  return value != nullptr && *value == tree;
}

void make(StoredSettings& made, std::size_t settings) {
  made.tree = effectiveTreeOf(documentOf(settings).text);
  made.text = plist::write(made.tree).value();
  require(isTextOf(made.tree, made.text), "our reader disagrees with our writer");

  made.node = readWithLibplist(made.text);
  std::string written;
  require(writeWithLibplist(made.node.get(), &written) > 0, "libplist wrote nothing");
  require(isTextOf(made.tree, written), "libplist makes something else of the stored settings");

  readWithPugixml(made.text, made.document);
  require(isTextOf(made.tree, writeWithPugixml(made.document, made.text.size())),
          "pugixml makes something else of the stored settings");

  require(ExpatReader().read(made.text) == made.tree, "the reader over expat makes something else of the text");
}

}  // namespace

const StoredSettings& storedSettings(std::size_t settings) {
  static std::map<std::size_t, StoredSettings> all;
  const auto [found, isNew] = all.try_emplace(settings);
  if (isNew) make(found->second, settings);
  return found->second;
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
