#include "document/schema.h"

#include <iterator>

#include "value/key_order.h"

namespace qlczephra::document {

void Schema::addProperties(PropertySchema& group, std::vector<PropertySchema>& found, std::size_t first) {
  sortAndKeepLast(found, first, &PropertySchema::name);
  group.firstProperty = static_cast<std::uint32_t>(properties_.size());
  group.properties = static_cast<std::uint32_t>(found.size() - first);
  const auto from = found.begin() + static_cast<std::ptrdiff_t>(first);
  properties_.insert(properties_.end(), std::make_move_iterator(from), std::make_move_iterator(found.end()));
  found.erase(from, found.end());
}

}  // namespace qlczephra::document
