// A reader of property lists over expat, which makes the same values as ours.
#pragma once

#include <expat.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "qlczephra/value.h"
#include "value/value_builder.h"

namespace qlczephra::bench {

// Kept from text to text, and with it expat's buffers. Knows the kinds that a settings tree has.
class ExpatReader {
 public:
  ExpatReader() : parser_(XML_ParserCreate(nullptr)) {}

  // None when the text is no property list.
  [[nodiscard]] std::optional<Value> read(std::string_view text);

 private:
  struct Freeing {
    void operator()(XML_Parser parser) const noexcept { XML_ParserFree(parser); }
  };

  static void onStart(void* self, const XML_Char* name, const XML_Char** attributes);
  static void onEnd(void* self, const XML_Char* name);
  static void onText(void* self, const XML_Char* text, int length);

  void begin(std::string_view name);
  void end(std::string_view name);
  void take(Value value);
  void fail();

  std::unique_ptr<XML_ParserStruct, Freeing> parser_;
  ValueBuilder builder_;
  std::string text_;  // of the innermost element
  std::optional<Value> root_;
  bool hasFailed_ = false;
};

}  // namespace qlczephra::bench
