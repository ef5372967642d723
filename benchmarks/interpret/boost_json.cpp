#include <boost/json/src.hpp>

#include "benchmarks/interpret/parsers.h"
#include "benchmarks/support/require.h"

namespace qlczephra::bench {

std::uint64_t parseWithBoostJson(std::string_view text) {
  // Memory that is freed as a whole, as its manual advises for what is parsed and not changed.
  boost::json::monotonic_resource memory;
  boost::system::error_code failed;
  const boost::json::value document = boost::json::parse(boost::json::string_view(text), failed, &memory);
  require(!failed && document.is_object(), "Boost.JSON refuses the document");
  return document.get_object().size();
}

}  // namespace qlczephra::bench
