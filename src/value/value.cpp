#include "qlczephra/value.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>
#include <stdexcept>

namespace qlczephra {

namespace {

template <typename T>
T* elements(detail::ContainerBlock* block) noexcept {
  return std::launder(reinterpret_cast<T*>(block + 1));
}

// Moves `count` elements into a new block.
template <typename T>
detail::ContainerBlock* blockOf(T* first, std::size_t count, std::uint32_t nesting) {
  if (count > std::numeric_limits<std::uint32_t>::max())
    throw std::length_error("a list or map of over 2^32-1 entries");
  void* memory = ::operator new(sizeof(detail::ContainerBlock) + count * sizeof(T));
  auto* block = new (memory) detail::ContainerBlock{{1}, static_cast<std::uint32_t>(count), nesting};
  std::uninitialized_move_n(first, count, reinterpret_cast<T*>(block + 1));
  return block;
}

std::uint32_t nestingAround(std::uint32_t soFar, const Value& inner) noexcept {
  return std::max(soFar, static_cast<std::uint32_t>(inner.nesting()) + 1U);
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
      auto* doomed = reinterpret_cast<ContainerBlock*>(head_ & ~std::uintptr_t{1});
      head_ = doomed->references;
      if (map) {
        for (auto& slot : std::span(elements<Map::Slot>(doomed), doomed->size)) {
          release(slot.key);
          release(slot.value);
        }
      } else {
        for (auto& value : std::span(elements<Value>(doomed), doomed->size)) release(value);
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
      ofString(static_cast<StringBlock*>(block));
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
    if (!text.empty()) std::memcpy(bytes_, text.data(), text.size());
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
      return *left.list() == *right.list();
    case Value::Kind::map:
      return *left.map() == *right.map();
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
  return left.sharesWith(right) || std::equal(left.begin(), left.end(), right.begin(), right.end());
}

// ---- Map

namespace {

// Index of the first slot whose key is not below `key`.
template <typename Slot>
std::size_t lowerBound(const Slot* slots, std::size_t size, std::string_view key) noexcept {
  std::size_t first = 0;
  while (size > 0) {
    const std::size_t half = size / 2;
    if (*slots[first + half].key.string() < key) {
      first += half + 1;
      size -= half + 1;
    } else {
      size = half;
    }
  }
  return first;
}

}  // namespace

Map::Map(std::initializer_list<Pair> entries) {
  Builder builder;
  builder.reserve(entries.size());
  for (const Pair& entry : entries) builder.set(entry.first, entry.second);
  *this = builder.build();
}

const Value* Map::find(std::string_view key) const noexcept {
  const std::size_t index = lowerBound(slots(), size(), key);
  if (index == size() || *slots()[index].key.string() != key) return nullptr;
  return &slots()[index].value;
}

Map Map::with(std::string_view key, Value value) const {
  const std::size_t index = lowerBound(slots(), size(), key);
  std::vector<Slot> changed;
  const bool known = index < size() && *slots()[index].key.string() == key;
  changed.reserve(size() + (known ? 0 : 1));
  changed.assign(slots(), slots() + index);
  changed.push_back({known ? slots()[index].key : Value(key), std::move(value)});
  changed.insert(changed.end(), slots() + index + (known ? 1 : 0), slots() + size());
  std::uint32_t nesting = 1;
  for (const Slot& slot : changed) nesting = nestingAround(nesting, slot.value);
  Map result;
  result.block_ = blockOf(changed.data(), changed.size(), nesting);
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
  if (left.sharesWith(right)) return true;
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [](const Map::Entry& a, const Map::Entry& b) { return a.key == b.key && a.value == b.value; });
}

Map::Builder::Builder(const Map& base) : slots_(base.slots(), base.slots() + base.size()) {}

Map Map::Builder::build() {
  const auto before = [](const Slot& left, const Slot& right) { return *left.key.string() < *right.key.string(); };
  const auto equal = [](const Slot& left, const Slot& right) { return *left.key.string() == *right.key.string(); };
  if (!std::is_sorted(slots_.begin(), slots_.end(), before)) {
    std::stable_sort(slots_.begin(), slots_.end(), before);
  }
  // Of equal keys the last wins: walking backwards, the first seen of a run is kept.
  const auto kept = std::unique(slots_.rbegin(), slots_.rend(), equal).base();
  Map result;
  const auto count = static_cast<std::size_t>(slots_.end() - kept);
  if (count > 0) {
    std::uint32_t nesting = 1;
    for (const Slot& slot : std::span(&*kept, count)) nesting = nestingAround(nesting, slot.value);
    result.block_ = blockOf(&*kept, count, nesting);
  }
  slots_.clear();
  return result;
}

}  // namespace qlczephra
