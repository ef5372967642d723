#include "qlczephra/value.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <memory>
#include <new>
#include <stdexcept>

#include "value/container_view.h"
#include "value/key_compare.h"
#include "value/map_maker.h"
#include "value/value_stack.h"

namespace qlczephra {

namespace {

template <typename T>
T* elements(detail::ContainerBlock* block) noexcept {
  return std::launder(reinterpret_cast<T*>(block + 1));
}

// A value may change its place by its bytes, because nothing points to it; the old place then holds null.
template <typename T>
void relocate(T* from, std::size_t count, void* to) noexcept {
  std::memcpy(to, static_cast<const void*>(from), count * sizeof(T));
  std::memset(static_cast<void*>(from), 0, count * sizeof(T));
}

// With room for `count` elements, none of which is there yet.
template <typename T>
detail::ContainerBlock* emptyBlockOf(std::size_t count) {
  if (count > std::numeric_limits<std::uint32_t>::max())
    throw std::length_error("a list or map of over 2^32-1 entries");
  void* memory = ::operator new(sizeof(detail::ContainerBlock) + count * sizeof(T));
  return new (memory) detail::ContainerBlock{{1}, static_cast<std::uint32_t>(count), 1};
}

// Moves `count` elements into a new block.
template <typename T>
detail::ContainerBlock* blockOf(T* first, std::size_t count, std::uint32_t nesting) {
  auto* block = emptyBlockOf<T>(count);
  block->nesting = nesting;
  relocate(first, count, block + 1);
  return block;
}

std::uint32_t nestingAround(std::uint32_t soFar, const Value& inner) noexcept {
  std::size_t nesting = 0;
  if (const Map* map = inner.map()) {
    nesting = map->nesting();
  } else if (const List* list = inner.list()) {
    nesting = list->nesting();
  }
  return std::max(soFar, static_cast<std::uint32_t>(nesting) + 1U);
}

bool equalReals(double left, double right) noexcept {
  return left == right || (std::isnan(left) && std::isnan(right));
}

}  // namespace

// ---- freeing

// Containers whose last reference has gone wait in a chain and are freed one after the other, so the stack stays flat
// however deep they are nested. The chain runs through their count words; the lowest bit of a link tells a map.
class detail::Disposal::Chain {
 public:
  void run(ContainerBlock* block, bool isMap) noexcept {
    add(block, isMap);
    while (head_ != 0) {
      const bool map = (head_ & 1U) != 0;
      // NOLINTNEXTLINE(performance-no-int-to-ptr): the link is a pointer but for its lowest bit
      auto* doomed = reinterpret_cast<ContainerBlock*>(head_ & ~std::uintptr_t{1});
      head_ = doomed->references;
      const std::size_t size = doomed->size;
      if (map) {
        for (auto& slot : std::span(elements<Map::Slot>(doomed), size)) {
          release(slot.key);
          release(slot.value);
        }
      } else {
        for (auto& value : std::span(elements<Value>(doomed), size)) release(value);
      }
      ::operator delete(doomed);
    }
  }

 private:
  void add(ContainerBlock* block, bool isMap) noexcept {
    block->references = head_;
    head_ = reinterpret_cast<std::uintptr_t>(block) | std::uintptr_t{isMap};
  }
  void release(Value& value) noexcept {
    if (!value.isShared()) return;
    auto* block = value.load<SharedBlock*>();
    if (block == nullptr || !releaseIsLast(block)) return;
    if (value.tag() == Value::Tag::sharedString) {
      ::operator delete(block);
    } else {
      add(static_cast<ContainerBlock*>(block), value.tag() == Value::Tag::map);
    }
  }
  std::uintptr_t head_ = 0;
};

void detail::Disposal::ofList(ContainerBlock* block) noexcept {
  Chain().run(block, false);
}
void detail::Disposal::ofMap(ContainerBlock* block) noexcept {
  Chain().run(block, true);
}
void detail::Disposal::ofString(StringBlock* block) noexcept {
  ::operator delete(block);
}

void Value::destroyShared() noexcept {
  switch (tag()) {
    case Tag::sharedString:
      detail::Disposal::ofString(load<detail::StringBlock*>());
      break;
    case Tag::list:
      detail::Disposal::ofList(load<detail::ContainerBlock*>());
      break;
    default:
      detail::Disposal::ofMap(load<detail::ContainerBlock*>());
      break;
  }
}

// ---- Value

Value::Value(std::string_view text) {
  if (text.size() <= sizeof bytes_) {
    text.copy(reinterpret_cast<char*>(bytes_), text.size());
    tag_ = static_cast<std::uint8_t>(text.size() << 4U) | static_cast<std::uint8_t>(Tag::inlineString);
    return;
  }
  void* memory = ::operator new(sizeof(detail::StringBlock) + text.size());
  auto* block = new (memory) detail::StringBlock{{1}, text.size()};
  std::memcpy(block + 1, text.data(), text.size());
  store(block);
  tag_ = static_cast<std::uint8_t>(Tag::sharedString);
}

std::optional<std::uint64_t> Value::unsignedInteger() const noexcept {
  if (tag() == Tag::unsignedInteger) return load<std::uint64_t>();
  if (tag() == Tag::signedInteger && load<std::int64_t>() >= 0) return load<std::uint64_t>();
  return std::nullopt;
}

std::optional<std::int64_t> Value::wholeNumber() const noexcept {
  if (tag() == Tag::signedInteger) return load<std::int64_t>();
  if (tag() != Tag::real) return std::nullopt;
  const auto number = load<double>();
  // 2^63 is a double; every double below it and from -2^63 on converts without loss once it has no fraction.
  constexpr double limit = 9223372036854775808.0;
  if (!(number >= -limit && number < limit) || std::trunc(number) != number) return std::nullopt;
  return static_cast<std::int64_t>(number);
}

std::size_t Value::nesting() const noexcept {
  if (tag() == Tag::list) return list()->nesting();
  if (tag() == Tag::map) return map()->nesting();
  return 0;
}

namespace {

ContainerView viewOf(const Value& container) noexcept {
  const List* list = container.list();
  return list != nullptr ? qlczephra::viewOf(*list) : qlczephra::viewOf(*container.map());
}

bool areShared(const Value& left, const Value& right) noexcept {
  return left.list() != nullptr ? left.list()->sharesWith(*right.list()) : left.map()->sharesWith(*right.map());
}

// Neither allocates nor calls itself for each level: so comparing the deepest values needs little stack and cannot
// fail.
bool equalContents(const Value* left, const Value* right, std::size_t count) noexcept {
  struct Level {
    const Value* left;
    const Value* right;
    std::size_t count;
  };
  constexpr std::size_t levelsAtOnce = 64;
  Level levels[levelsAtOnce];
  std::size_t depth = 0;
  levels[depth++] = {left, right, count};
  while (depth > 0) {
    Level& level = levels[depth - 1];
    if (level.count == 0) {
      --depth;
      continue;
    }
    --level.count;
    const Value& one = *level.left++;
    const Value& other = *level.right++;
    const bool isContainer = one.kind() == Value::Kind::list || one.kind() == Value::Kind::map;
    if (!isContainer || one.kind() != other.kind()) {
      if (!(one == other)) return false;
      continue;
    }
    if (areShared(one, other)) continue;
    const ContainerView inside = viewOf(one);
    const ContainerView otherInside = viewOf(other);
    if (inside.count != otherInside.count) return false;
    if (depth < levelsAtOnce) {
      levels[depth++] = {inside.first, otherInside.first, inside.count};
    } else if (!equalContents(inside.first, otherInside.first, inside.count)) {
      return false;
    }
  }
  return true;
}

}  // namespace

bool operator==(const Value& left, const Value& right) noexcept {
  if (left.kind() != right.kind()) return false;
  switch (left.kind()) {
    case Value::Kind::null:
      return true;
    case Value::Kind::boolean:
      return left.boolean() == right.boolean();
    case Value::Kind::integer:
      // Each integer has one form only, so equal numbers have equal tags.
      return left.tag_ == right.tag_ && left.load<std::uint64_t>() == right.load<std::uint64_t>();
    case Value::Kind::real:
      return equalReals(left.load<double>(), right.load<double>());
    case Value::Kind::string:
      return left.string() == right.string();
    case Value::Kind::list:
    case Value::Kind::map:
      return equalContents(&left, &right, 1);
  }
  return false;
}

// ---- List

List::List(std::initializer_list<Value> values) : List(std::vector<Value>(values)) {}

List::List(std::vector<Value> values) : List(values.data(), values.size()) {}

List::List(Value* first, std::size_t count) {
  if (count == 0) return;
  std::uint32_t nesting = 1;
  for (const Value& value : std::span(first, count)) nesting = nestingAround(nesting, value);
  block_ = blockOf(first, count, nesting);
}

List List::Builder::build() {
  List result(values_.data(), values_.size());
  values_.clear();
  return result;
}

bool operator==(const List& left, const List& right) noexcept {
  return Value(left) == Value(right);
}

// ---- Map

namespace {

// Index of the first slot whose key is not below the wanted one; `found` tells whether it is that one.
template <typename Slot>
std::size_t lowerBound(const Slot* slots, std::size_t size, const KeyProbe& wanted, bool& found) noexcept {
  std::size_t first = 0;
  found = false;
  while (size > 0) {
    const std::size_t half = size / 2;
    const int order = wanted.order(slots[first + half].key);
    if (order == 0) {
      found = true;
      return first + half;
    }
    if (order < 0) {
      first += half + 1;
      size -= half + 1;
    } else {
      size = half;
    }
  }
  return first;
}

constexpr auto slotOrder = [](const auto& left, const auto& right) { return compareKeys(left.key, right.key); };

}  // namespace

Map::Map(std::initializer_list<Pair> entries) {
  Builder builder;
  builder.reserve(entries.size());
  for (const Pair& entry : entries) builder.set(entry.first, entry.second);
  *this = builder.build();
}

const Value* Map::find(std::string_view key) const noexcept {
  bool found = false;
  const std::size_t index = lowerBound(slots(), size(), KeyProbe(key), found);
  return found ? &slots()[index].value : nullptr;
}

Map Map::with(std::string_view key, Value value) const {
  bool known = false;
  const std::size_t index = lowerBound(slots(), size(), KeyProbe(key), known);
  const std::size_t after = index + (known ? 1 : 0);
  const std::size_t count = size() + (known ? 0 : 1);
  Slot changed{known ? slots()[index].key : Value(key), std::move(value)};
  std::uint32_t nesting = nestingAround(1, changed.value);
  Map result;
  result.block_ = emptyBlockOf<Slot>(count);
  Slot* const copies = elements<Slot>(result.block_);
  std::uninitialized_copy_n(slots(), index, copies);
  relocate(&changed, 1, copies + index);
  std::uninitialized_copy_n(slots() + after, size() - after, copies + index + 1);
  for (const Slot& slot : std::span(copies, count)) nesting = nestingAround(nesting, slot.value);
  result.block_->nesting = nesting;
  return result;
}

Map Map::without(std::string_view key) const {
  if (find(key) == nullptr) return *this;
  Builder builder;
  builder.reserve(size());
  for (const Slot& slot : std::span(slots(), size())) {
    if (*slot.key.string() != key) builder.setShared(slot.key, slot.value);
  }
  return builder.build();
}

bool operator==(const Map& left, const Map& right) noexcept {
  static_assert(sizeof(Map::Slot) == 2 * sizeof(Value), "a key and its value, as viewOf() takes them");
  return Value(left) == Value(right);
}

Map::Builder::Builder(const Map& base) : slots_(base.slots(), base.slots() + base.size()) {}

Map Map::Builder::build() {
  sortAndKeepLast(slots_, slotOrder);
  Map result = MapMaker::ofAscending(slots_.data(), slots_.size());
  slots_.clear();
  return result;
}

Map MapMaker::ofAscending(Slot* first, std::size_t count) {
  Map result;
  if (count != 0) {
    std::uint32_t nesting = 1;
    for (const Slot& slot : std::span(first, count)) nesting = nestingAround(nesting, slot.value);
    result.block_ = blockOf(first, count, nesting);
  }
  return result;
}

// ---- ValueStack

namespace detail {

ValueStack::~ValueStack() {
  std::destroy_n(values_, size_);
  if (capacity_ > few) ::operator delete(values_);
}

void ValueStack::grow(std::size_t capacity) {
  auto* const values = static_cast<Value*>(::operator new(capacity * sizeof(Value)));
  std::memcpy(static_cast<void*>(values), static_cast<const void*>(values_), size_ * sizeof(Value));
  if (capacity_ > few) ::operator delete(values_);
  values_ = values;
  capacity_ = capacity;
}

ContainerBlock* ValueStack::cut(const Value* first, std::size_t count) {
  ContainerBlock* const block = innermost_.isMap ? emptyBlockOf<Map::Slot>(count / 2) : emptyBlockOf<Value>(count);
  block->nesting = innermost_.nesting;
  std::memcpy(static_cast<void*>(block + 1), static_cast<const void*>(first), count * sizeof(Value));
  return block;
}

// Short keys and booleans only: nothing that is shared, so that their bytes tell whether two are equal.
bool ValueStack::areSwitches(const Value* first, std::size_t count) noexcept {
  for (std::size_t i = 0; i < count; i += 2) {
    if (first[i].tag() != Value::Tag::inlineString || first[i + 1].tag() != Value::Tag::boolean) return false;
  }
  return true;
}

ContainerBlock* ValueStack::cutSwitches(const Value* first, std::size_t count) {
  std::uint64_t hash = 0;
  for (std::size_t i = 0; i < count; i += 2) {
    hash = (hash + first[i].load<std::uint64_t>() + first[i + 1].load<std::uint64_t>()) * 0x9E3779B97F4A7C15U;
  }
  Map& known = switches_[hash >> 60U];
  const auto isSame = [](const Value& left, const Value& right) {
    return std::memcmp(static_cast<const void*>(&left), static_cast<const void*>(&right), sizeof(Value)) == 0;
  };
  if (known.size() * 2 != count || !std::equal(first, first + count, viewOf(known).first, isSame)) {
    Map map;
    map.block_ = cut(first, count);
    known = std::move(map);
  }
  retain(known.block_);
  return known.block_;
}

ContainerBlock* ValueStack::cutMap(Value* first, std::size_t count) {
  const auto* const slots = std::launder(reinterpret_cast<Map::Slot*>(first));
  if (isAscending(slots, slots + count / 2, slotOrder)) {
    return count <= mostSwitches && areSwitches(first, count) ? cutSwitches(first, count) : cut(first, count);
  }
  return cutUnordered(first, count);
}

[[gnu::noinline]] ContainerBlock* ValueStack::cutUnordered(Value* first, std::size_t count) {
  Map::Builder sorting;
  for (std::size_t i = 0; i < count; i += 2) sorting.setShared(std::move(first[i]), std::move(first[i + 1]));
  Map sorted = sorting.build();
  return std::exchange(sorted.block_, nullptr);
}

void ValueStack::close() {
  Value* const first = values_ + innermost_.first;
  const std::size_t count = size_ - innermost_.first;
  const bool isMap = innermost_.isMap;
  ContainerBlock* const block = count == 0 ? nullptr : isMap ? cutMap(first, count) : cut(first, count);
  // The values have moved into the block; what is left of them on the stack need not be destroyed.
  size_ = innermost_.first;
  innermost_ = around_.back();
  around_.pop_back();
  const std::uint32_t nesting = block == nullptr ? 1 : block->nesting;
  innermost_.nesting = std::max(innermost_.nesting, nesting + 1);
  put(isMap ? Value::Tag::map : Value::Tag::list, reinterpret_cast<std::uintptr_t>(block));
}

}  // namespace detail

}  // namespace qlczephra
