// Merging of patch maps.
#include "document/patch.h"

#include <gtest/gtest.h>

#include <bit>

#include "document/merge.h"
#include "tests/support/json_literal.h"
#include "tests/support/random_settings.h"
#include "value/value_size.h"

namespace qlczephra::document {
namespace {

using test::RandomSettings;

Map changeOf(RandomSettings& random, bool withNodes) {
  const auto [path, value] = random.change(withNodes);
  return makePatch(path, value);
}

// Equal to the last bit: equality takes two zeros of different sign for one.
bool areIdentical(const Value& left, const Value& right) {
  if (left.kind() != right.kind()) return false;
  if (left.real()) return std::bit_cast<std::uint64_t>(*left.real()) == std::bit_cast<std::uint64_t>(*right.real());
  if (const List* list = left.list()) {
    return std::equal(list->begin(), list->end(), right.list()->begin(), right.list()->end(), areIdentical);
  }
  if (left.map() == nullptr) return left == right;
  if (left.map()->size() != right.map()->size()) return false;
  auto other = right.map()->begin();
  for (const auto [key, value] : *left.map()) {
    if (key != (*other).key || !areIdentical(value, (*other).value)) return false;
    ++other;
  }
  return true;
}

// What deepMerging() says it does.
Map plainUnion(const Map& base, const Map& other) {
  Map result = base;
  for (const auto [key, value] : other) {
    const Value* present = result.find(key);
    const bool areMaps = present != nullptr && present->map() != nullptr && value.map() != nullptr;
    result = result.with(key, areMaps ? Value(plainUnion(*present->map(), *value.map())) : value);
  }
  return result;
}

TEST(DeepMerging, OneMemberOrManyAreMergedAlike) {
  for (std::uint64_t seed = 1; seed <= 300; ++seed) {
    RandomSettings random(seed);
    Map patch;
    for (int number = 0; number < 60; ++number) {
      Map change = changeOf(random, true);
      for (std::size_t more = random.below(3); more > 0; --more) change = plainUnion(change, changeOf(random, true));
      const Map merged = deepMerging(patch, change);
      ASSERT_TRUE(areIdentical(merged, plainUnion(patch, change)))
          << test::toJson(change) << " over " << test::toJson(patch);
      patch = merged;
    }
    EXPECT_GT(valueSizeOf(patch).values, 10U);
  }
}

}  // namespace
}  // namespace qlczephra::document
