// One change after the other over a tree, beside laying the whole patch map each time; and how much a patch map holds.
#include "document/patch.h"

#include <gtest/gtest.h>

#include <bit>

#include "document/merge.h"
#include "tests/support/json_literal.h"
#include "tests/support/random_settings.h"

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

TEST(LayChange, GivesWhatLayingTheWholePatchMapGives) {
  constexpr std::uint64_t histories = 2'000;
  constexpr int changes = 25;
  std::size_t alone = 0;
  std::size_t applied = 0;
  std::size_t unsettled = 0;
  for (std::uint64_t seed = 1; seed <= histories; ++seed) {
    RandomSettings random(seed);
    PatchedTree present{random.tree()};
    Map patch;
    for (int number = 0; number < changes; ++number) {
      if (random.oneIn(40)) {  // a fetch
        present = layPatch(random.tree(), patch);
      } else if (random.oneIn(40)) {  // an upload takes all that waits
        patch = Map();
      }
      const Map change = changeOf(random, random.oneIn(12));
      const Map combined = deepMerging(patch, change);
      const Map expected = applyPatch(present.tree, combined);
      const PatchedTree next =
          present.isSettled ? layChange(present.tree, combined, change) : layPatch(present.tree, combined);
      ASSERT_TRUE(areIdentical(next.tree, expected))
          << "seed " << seed << ", change " << number << "\n over " << test::toJson(present.tree) << "\npatch "
          << test::toJson(patch) << "\nchange " << test::toJson(change);
      if (next.isSettled) {
        ASSERT_TRUE(areIdentical(applyPatch(next.tree, combined), next.tree))
            << "seed " << seed << ", change " << number << "\npatch " << test::toJson(combined);
      }
      alone += std::size_t{present.isSettled};
      applied += std::size_t{!areIdentical(next.tree, present.tree)};
      unsettled += std::size_t{!next.isSettled};
      present = next;
      patch = combined;
    }
  }
  // The histories are of both kinds.
  EXPECT_GT(alone, histories * changes / 4);
  EXPECT_GT(applied, histories * changes / 20);
  EXPECT_GT(unsettled, histories * changes / 10);
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

TEST(DeepMerging, OneMemberOrManyAreMergedAlikeAndCounted) {
  for (std::uint64_t seed = 1; seed <= 300; ++seed) {
    RandomSettings random(seed);
    Map patch;
    TotalSize size;
    for (int number = 0; number < 60; ++number) {
      Map change = changeOf(random, true);
      for (std::size_t more = random.below(3); more > 0; --more) change = plainUnion(change, changeOf(random, true));
      const Map merged = deepMerging(patch, change);
      ASSERT_TRUE(areIdentical(merged, plainUnion(patch, change)))
          << test::toJson(change) << " over " << test::toJson(patch);
      size = sizeOfMerged(size, patch, change);
      ASSERT_EQ(size, TotalSize(valueSizeOf(merged))) << test::toJson(change) << " over " << test::toJson(patch);
      patch = merged;
    }
    EXPECT_GT(size.values, 10U);
  }
}

}  // namespace
}  // namespace qlczephra::document
