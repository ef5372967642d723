#include "benchmarks/plist/expat_reader.h"

#include <charconv>
#include <cstdint>
#include <utility>

namespace qlczephra::bench {

std::optional<Value> ExpatReader::read(std::string_view text) {
  XML_Parser const parser = parser_.get();
  XML_ParserReset(parser, nullptr);
  XML_SetUserData(parser, this);
  XML_SetElementHandler(parser, onStart, onEnd);
  XML_SetCharacterDataHandler(parser, onText);
  root_.reset();
  hasFailed_ = false;
  if (XML_Parse(parser, text.data(), static_cast<int>(text.size()), XML_TRUE) != XML_STATUS_OK || hasFailed_) {
    return std::nullopt;
  }
  return std::exchange(root_, std::nullopt);
}

void ExpatReader::onStart(void* self, const XML_Char* name, const XML_Char**) {
  static_cast<ExpatReader*>(self)->begin(name);
}

void ExpatReader::onEnd(void* self, const XML_Char* name) {
  static_cast<ExpatReader*>(self)->end(name);
}

void ExpatReader::onText(void* self, const XML_Char* text, int length) {
  static_cast<ExpatReader*>(self)->text_.append(text, static_cast<std::size_t>(length));
}

void ExpatReader::begin(std::string_view name) {
  text_.clear();
  if (name == "dict") {
    builder_.openMap();
  } else if (name == "array") {
    builder_.openList();
  }
}

void ExpatReader::end(std::string_view name) {
  if (name == "key") {
    if (!builder_.isInMap()) return fail();
    builder_.setKey(text_);
  } else if (name == "dict" || name == "array") {
    take(builder_.close());
  } else if (name == "true" || name == "false") {
    take(name == "true");
  } else if (name == "string") {
    take(std::string_view(text_));
  } else if (name == "integer") {
    std::int64_t number = 0;
    const char* const last = text_.data() + text_.size();
    if (std::from_chars(text_.data(), last, number).ptr != last) return fail();
    take(number);
  } else if (name != "plist") {
    fail();
  }
}

void ExpatReader::take(Value value) {
  if (builder_.depth() > 0) {
    builder_.add(std::move(value));
  } else {
    root_ = std::move(value);
  }
}

void ExpatReader::fail() {
  hasFailed_ = true;
  XML_StopParser(parser_.get(), XML_FALSE);
}

}  // namespace qlczephra::bench
