// The parser's own use of the instructions that every processor of the kind has.
#ifdef __SSE2__
#define RAPIDJSON_SSE2
#endif
#include <rapidjson/document.h>

#include "benchmarks/interpret/parsers.h"
#include "benchmarks/support/require.h"

namespace qlczephra::bench {

std::uint64_t parseWithRapidJson(std::string_view text) {
  rapidjson::Document document;
  document.Parse(text.data(), text.size());
  require(!document.HasParseError() && document.IsObject(), "RapidJSON refuses the document");
  return document.MemberCount();
}

}  // namespace qlczephra::bench
