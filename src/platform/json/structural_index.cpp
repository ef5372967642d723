#include "platform/json/structural_index.h"

#include <simdjson.h>

#include <new>
#include <string>

namespace qlczephra::json {

namespace {

const char* reasonFor(simdjson::error_code code) noexcept {
  switch (code) {
    case simdjson::EMPTY:
      return "no json text";
    case simdjson::UTF8_ERROR:
      return "not valid utf-8";
    case simdjson::UNESCAPED_CHARS:
      return "a control character inside a string";
    case simdjson::UNCLOSED_STRING:
      return "a string without an end";
    case simdjson::CAPACITY:
      return "too large";
    default:
      return "not json";
  }
}

// The process's active implementation is left alone: an environment variable can set it to one that refuses every text.
const simdjson::implementation& bestImplementation() {
  static const simdjson::implementation& best = *simdjson::get_available_implementations().detect_best_supported();
  return best;
}

}  // namespace

std::vector<std::string> StructuralIndex::implementations() {
  std::vector<std::string> names;
  for (const simdjson::implementation* implementation : simdjson::get_available_implementations()) {
    if (implementation->supported_by_runtime_system()) names.push_back(implementation->name());
  }
  return names;
}

StructuralIndex::StructuralIndex(std::string_view text, const std::string& implementationName) {
  if (text.empty()) {
    error_ = reasonFor(simdjson::EMPTY);
    return;
  }
  if (text.starts_with("\xEF\xBB\xBF")) {
    error_ = "a byte order mark";
    return;
  }
  const simdjson::implementation& implementation = implementationName.empty()
                                                       ? bestImplementation()
                                                       : *simdjson::get_available_implementations()[implementationName];
  // The one for processors without vector instructions reads beyond the end; the others take the last block apart.
  std::string padded;
  if (implementation.name() == "fallback") {
    padded.assign(text).append(simdjson::SIMDJSON_PADDING, ' ');
    text = std::string_view(padded).substr(0, text.size());
  }
  constexpr std::size_t unusedDepth = 1;  // belongs to the second stage
  std::unique_ptr<simdjson::internal::dom_parser_implementation> parser;
  auto code = implementation.create_dom_parser_implementation(text.size(), unusedDepth, parser);
  if (code == simdjson::SUCCESS) {
    code =
        parser->stage1(reinterpret_cast<const std::uint8_t*>(text.data()), text.size(), simdjson::stage1_mode::regular);
  }
  if (code == simdjson::MEMALLOC) throw std::bad_alloc();
  if (code != simdjson::SUCCESS) {
    error_ = reasonFor(code);
    return;
  }
  positions_ = std::move(parser->structural_indexes);
  count_ = parser->n_structural_indexes;
}

}  // namespace qlczephra::json
