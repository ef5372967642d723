#include "document/schema.h"

#include <utility>

namespace qlczephra::document {

void Schema::addProperties(std::vector<PropertySchema>& found, std::size_t group) {
  PropertySchema* const inText = found.data() + group + 1;
  const std::size_t count = found.size() - group - 1;
  sorted_.clear();
  for (std::size_t i = 0; i < count; ++i) sorted_.push_back({KeyWords(inText[i].name), static_cast<std::uint32_t>(i)});
  sortAndKeepLast(sorted_, [inText](const Name& left, const Name& right) {
    const int order = left.words.compare(right.words);
    return order != 0 || !left.words.isLong() ? order
                                              : compareKeys(inText[left.inText].name, inText[right.inText].name);
  });

  // A property whose name comes again is not there, and what comes before it leads to the first then: a wrong guess.
  places_.assign(count + 1, 0);
  for (std::size_t i = 0; i < sorted_.size(); ++i) places_[sorted_[i].inText] = static_cast<std::uint32_t>(i);
  found[group].firstProperty = static_cast<std::uint32_t>(properties_.size());
  found[group].properties = static_cast<std::uint32_t>(sorted_.size());
  found[group].firstInText = places_[0];
  for (const Name& name : sorted_) {
    properties_.emplace_back(std::move(inText[name.inText])).following = places_[name.inText + 1];
  }
  found.resize(group + 1);
}

}  // namespace qlczephra::document
