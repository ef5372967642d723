# Which tokens a JSON text has is asked of simdjson's first stage, for which there is no public interface. This fails the
# configuration, and not the build, where another version has changed it. Used by src/platform/json/structural_index.cpp.
include(CheckCXXSourceCompiles)
set(CMAKE_REQUIRED_LIBRARIES simdjson::simdjson)
set(CMAKE_REQUIRED_FLAGS "-std=c++20")
check_cxx_source_compiles("
#include <simdjson.h>
int main() {
  std::unique_ptr<simdjson::internal::dom_parser_implementation> parser;
  const simdjson::implementation* best = simdjson::get_available_implementations().detect_best_supported();
  const auto code = best->create_dom_parser_implementation(1, 1, parser);
  std::unique_ptr<std::uint32_t[]> positions = std::move(parser->structural_indexes);
  return parser->stage1(nullptr, 0, simdjson::stage1_mode::regular) == code ? int(parser->n_structural_indexes) : 1;
}" QLCZEPHRA_SIMDJSON_HAS_FIRST_STAGE)
unset(CMAKE_REQUIRED_LIBRARIES)
unset(CMAKE_REQUIRED_FLAGS)
if(NOT QLCZEPHRA_SIMDJSON_HAS_FIRST_STAGE)
  message(FATAL_ERROR "simdjson ${simdjson_VERSION} is not supported: its first stage differs from that of version 3.0 "
                      "(Debian package libsimdjson-dev 3.0.1).")
endif()
