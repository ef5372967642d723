// Values whose blocks stand side by side in slabs.
#include "value/block_arena.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include "qlczephra/value.h"
#include "tests/support/random_value.h"

namespace qlczephra {
namespace {

std::string textOf(std::size_t length) {
  return std::string(length, static_cast<char>('a' + length % 26));
}

const char* dataOf(const Value& value) {
  return value.string()->data();
}

// Sizes around those of a slab's places, of the largest block in one, and beyond.
TEST(BlockArena, ValuesOutliveItAndEachOther) {
  std::vector<Value> values;
  {
    const BlockArena arena;
    for (std::size_t length = 0; length < 1200; ++length) values.emplace_back(textOf(length));
  }
  for (std::size_t length = 0; length < values.size(); length += 2) values[length] = Value();
  for (std::size_t length = 1; length < values.size(); length += 2) {
    ASSERT_EQ(values[length].string(), textOf(length)) << length;
  }
}

TEST(BlockArena, HoldsTreesLikeAnyOtherMemory) {
  for (std::uint64_t seed = 0; seed < 200; ++seed) {
    const Value expected = test::RandomValues(seed).value();
    Value made;
    Value shared;
    {
      const BlockArena arena;
      made = test::RandomValues(seed).value();
      shared = List({made, made});
    }
    EXPECT_EQ(made, expected);
    made = Value();
    EXPECT_EQ(shared, Value(List({expected, expected})));
  }
}

TEST(BlockArena, PutsSmallBlocksSideBySide) {
  const auto neighbours = [] {
    int count = 0;
    Value before(textOf(40));
    for (int i = 0; i < 100; ++i) {
      Value next(textOf(40));
      const std::ptrdiff_t distance = dataOf(next) - dataOf(before);
      if (distance > 0 && distance <= 64) ++count;
      before = std::move(next);
    }
    return count;
  };
  const BlockArena arena;
  EXPECT_GT(neighbours(), 90);
}

// Only what a thread makes itself stands in its arena, and who frees it does not matter.
TEST(BlockArena, IsOfOneThreadAndFreedOnAny) {
  std::vector<Value> values;
  std::vector<Value> others;
  {
    const BlockArena arena;
    for (std::size_t i = 0; i < 10'000; ++i) values.emplace_back(textOf(16 + i % 100));
    std::thread([&] {
      for (std::size_t i = 0; i < 1'000; ++i) others.emplace_back(textOf(16 + i % 100));
    }).join();
  }
  std::vector<Value> half(values.begin() + 5'000, values.end());
  values.resize(5'000);
  std::thread freeing([half = std::move(half)]() mutable { half.clear(); });
  values.clear();
  freeing.join();
  for (std::size_t i = 0; i < others.size(); ++i) ASSERT_EQ(others[i].string(), textOf(16 + i % 100));
}

}  // namespace
}  // namespace qlczephra
