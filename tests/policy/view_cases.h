// Tables of (settings, expected record) for views. Records are compared in their textual form, which holds every field
// (and of an address all but a password).
#pragma once

#include <gtest/gtest.h>

#include <optional>
#include <sstream>
#include <string>

#include "policy/views.h"
#include "tests/policy/plain_settings.h"

namespace qlczephra::test {

struct ViewCase {
  std::string settings;
  const char* record;  // its description, or "none"
};

template <typename Record>
std::string shown(const Record& record) {
  std::ostringstream stream;
  stream << record;
  return stream.str();
}
template <typename Record>
std::string shown(const std::optional<Record>& record) {
  return record ? shown(*record) : "none";
}

template <typename View>
std::string shownView(View view, const Map& tree) {
  return shown(view(policy::Settings(&tree)));
}

// The settings of a case stand between `before` and `after`, which name the section and group that a table is about.
template <typename View, std::size_t count>
void expectRecords(View view, const std::string& before, const std::string& after, const ViewCase (&cases)[count]) {
  for (const auto& [settings, record] : cases) {
    EXPECT_EQ(shownView(view, treeFor(before + settings + after)), record) << settings;
  }
}

}  // namespace qlczephra::test
