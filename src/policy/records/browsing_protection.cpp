#include "qlczephra/policy/browsing_protection.h"

#include "policy/records/description.h"

namespace qlczephra {

std::string QLCBrowsingProtection::description() const {
  return Description("QLCBrowsingProtection").field("whitelist", whitelist_).field("blacklist", blacklist_).text();
}

}  // namespace qlczephra
