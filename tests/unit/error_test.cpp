// Error objects and the codes of the manager's own.
#include "qlczephra/error.h"

#include <gtest/gtest.h>

#include <unordered_set>

#include "qlczephra/manager.h"

namespace qlczephra {
namespace {

using Code = QLCZephraManager::ZephraErrorCode;

TEST(Error, TextNamesDomainCodeAndDescription) {
  EXPECT_EQ(Error("a.b", -3).text(), "a.b error -3");
  EXPECT_EQ(Error("a.b", 4, "why").text(), "a.b error 4: why");
  EXPECT_EQ(Error("a.b", 4, "").text(), "a.b error 4: ");
}

TEST(Error, CodesAreThoseFromZeroToNine) {
  std::unordered_set<Code> codes;
  for (std::int64_t raw = -300; raw <= 300; ++raw) {
    const auto code = Code::fromRawValue(raw);
    ASSERT_EQ(code.has_value(), raw >= 0 && raw <= 9) << raw;
    if (!code) continue;
    EXPECT_EQ(code->rawValue(), raw);
    codes.insert(*code);
    codes.insert(*code);
  }
  EXPECT_EQ(codes.size(), 10U);
  EXPECT_EQ(Code::fromRawValue(7), Code(Code::fetchInProgress));
  EXPECT_NE(Code::fromRawValue(7), Code(Code::noServiceURL));
}

}  // namespace
}  // namespace qlczephra
