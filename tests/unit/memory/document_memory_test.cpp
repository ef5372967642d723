// Memory that runs out at each allocation of reading a document in turn.
#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <new>
#include <string>
#include <variant>

#include "document/settings_document.h"
#include "platform/json/json.h"
#include "platform/json/structural_index.h"
#include "qlczephra/value.h"

namespace {

int allocationsLeft = -1;  // until one fails; negative: none does
long liveBlocks = 0;

bool fails() noexcept {
  return allocationsLeft >= 0 && allocationsLeft-- == 0;
}

void* allocate(std::size_t size) noexcept {
  void* const memory = fails() ? nullptr : std::malloc(size == 0 ? 1 : size);
  if (memory != nullptr) ++liveBlocks;
  return memory;
}

void release(void* memory) noexcept {
  if (memory != nullptr) --liveBlocks;
  std::free(memory);
}

}  // namespace

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return allocate(size);
}
void* operator new(std::size_t size) {
  void* const memory = allocate(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
void operator delete(void* memory) noexcept {
  release(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  release(memory);
}

namespace qlczephra {
namespace {

constexpr const char* text = R"({"data": {
  "values": {"common": {"list": [1, "two", {"three": [3.5, null, true]}], "name": "esc\u0061ped and long enough",
                        "dynamic group": {"any key that is long": {"deep": "value of some length"}}, "flag": true}},
  "eff_schema": {
    "common": {"type": "object", "properties": {
      "list": {"type": "array", "default": []},
      "name": {"type": "string", "default": "a default that needs memory of its own"},
      "flag": {"type": "boolean", "default": false, "readonly": true},
      "map": {"type": "object", "default": {"key": "value"}},
      "dynamic group": {"type": "object", "dynamic": true, "properties": {"known": {"type": "integer", "default": 1}}}
    }},
    "macos": {"properties": {}}}}})";

const Map layer{{"common", Map{{"name", "another name, as long"}, {"map", Map{{"other", List{1, 2}}}}}}};

// Does `work` with each allocation failing once: it throws, and leaves no memory behind.
void failEachAllocation(const std::function<void()>& work) {
  work();
  bool failed = true;
  int count = 0;
  for (; failed; ++count) {
    const long before = liveBlocks;
    bool threw = false;
    allocationsLeft = count;
    try {
      work();
    } catch (const std::bad_alloc&) {
      threw = true;
    }
    failed = allocationsLeft < 0;
    allocationsLeft = -1;
    ASSERT_EQ(threw, failed) << "allocation " << count;
    ASSERT_EQ(liveBlocks, before) << "allocation " << count;
  }
  EXPECT_GE(count, 3);
}

TEST(DocumentMemory, NoMemoryIsNeverTakenForADamagedText) {
  for (const std::string& implementation : json::StructuralIndex::implementations()) {
    SCOPED_TRACE(implementation);
    failEachAllocation([&] { ASSERT_EQ(json::StructuralIndex(text, implementation).error(), nullptr); });
  }
  failEachAllocation([] { ASSERT_TRUE(std::holds_alternative<Value>(json::read(text))); });
  failEachAllocation([] {
    const auto read = document::SettingsDocument::interpret(text);
    const auto* const document = std::get_if<document::SettingsDocument>(&read);
    ASSERT_NE(document, nullptr);
    const Map tree = document->effectiveTree({&layer, &layer});
    ASSERT_EQ(tree.size(), 2U);
  });
}

}  // namespace
}  // namespace qlczephra
