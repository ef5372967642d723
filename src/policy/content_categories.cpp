// The switches of the content categories.
#include "policy/views.h"

namespace qlczephra::policy {

namespace {

namespace path {
constexpr std::string_view enabled = "common.content.enabled";                // boolean true; else no record
constexpr std::string_view categories = "common.content.allowed_categories";  // group; else no record
}  // namespace path

}  // namespace

// Each member of the group is a category: true allows it, false blocks it; one that is no boolean is left out.
std::optional<QLContentCategories> contentCategories(const Settings& settings) {
  if (settings[path::enabled].boolean() != true) return std::nullopt;
  const Map* members = settings.group(path::categories);
  if (members == nullptr) return std::nullopt;
  QLContentCategories categories;
  categories.setIsEnabled(true);
  categories.reserveCategories(members->size());
  for (const auto [name, member] : *members) {
    // By path, as every single setting is read: what is no setting node (a raw value of a dynamic group) has no value,
    // and a name with a dot in it leads elsewhere.
    const Value* allowed = document::valueAt(*members, name);
    if (allowed == nullptr || !allowed->boolean()) continue;
    categories.addCategory(QLContentCategory(), std::string(name), !*allowed->boolean());
  }
  return categories;
}

}  // namespace qlczephra::policy
