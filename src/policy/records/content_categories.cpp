#include "qlczephra/policy/content_categories.h"

#include "policy/records/description.h"

namespace qlczephra {

std::string QLContentCategory::description() const {
  return Description("QLContentCategory").text();
}

std::string QLContentCategories::CategoryEntry::description() const {
  return Description("QLContentCategory").field("name", name).field("isBlocked", isBlocked).text();
}

std::string QLContentCategories::description() const {
  return Description("QLContentCategories").field("isEnabled", isEnabled_).field("categories", categories_).text();
}

}  // namespace qlczephra
