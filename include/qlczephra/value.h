// Value: one immutable datum of a settings tree, and the List and Map that it can hold.
//
// A Value is two words wide and cheap to copy: lists, maps and strings longer than 15 bytes are reference-counted and
// shared, everything else stands in the Value itself. Nothing is ever changed in place: operations that "change" a map
// return a new one that shares all it did not touch.
//
// Kinds. Booleans, integers and reals are different kinds and never read as one another (the one exception is
// wholeNumber()). An integer holds every signed and every unsigned 64-bit value. Strings are bytes, UTF-8 wherever the
// library makes them.
//
// Equality is by kind and content: Value(2) differs from Value(2.0) and from Value(true). Two reals are equal when they
// compare equal or are both not-a-number.
//
// Order. A Map iterates by ascending key, keys compared byte by byte as unsigned numbers (for UTF-8: by code point).
// The order depends on nothing but the keys, so files, output and tests are deterministic.
//
// Threads: copies may be made, read and destroyed on any threads at once. One Value object may not be assigned to
// while another thread uses that same object.
//
// Nesting. Destroying a value takes constant stack whatever its depth. Comparing and writing recurse one frame a level,
// so the library limits nesting wherever data enters it.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <iterator>
#include <new>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "qlczephra/export.h"

namespace qlczephra {

class Value;
class MapMaker;

namespace detail {

// Head of every shared block. The count is a plain word that is used with atomic operations, so that a block that is
// being freed can keep its link to the next one in the same place.
struct SharedBlock {
  std::uint64_t references;
};

struct ContainerBlock : SharedBlock {
  std::uint32_t size;     // values, or key-value pairs
  std::uint32_t nesting;  // 1 + the deepest nesting inside
};

struct StringBlock : SharedBlock {
  std::uint64_t size;
};

inline void retain(SharedBlock* block) noexcept {
  __atomic_fetch_add(&block->references, 1U, __ATOMIC_RELAXED);
}

// True when the caller held the last reference and must free the block.
inline bool releaseIsLast(SharedBlock* block) noexcept {
  return __atomic_load_n(&block->references, __ATOMIC_ACQUIRE) == 1U ||
         __atomic_fetch_sub(&block->references, 1U, __ATOMIC_ACQ_REL) == 1U;
}

class ValueStack;

// Frees a block whose last reference is gone, and with it all that only it referred to.
struct QLCZEPHRA_EXPORT Disposal {
  static void ofList(ContainerBlock* block) noexcept;
  static void ofMap(ContainerBlock* block) noexcept;
  static void ofString(StringBlock* block) noexcept;

 private:
  class Chain;
};

}  // namespace detail

// An immutable sequence of values. A copy costs one reference count.
class QLCZEPHRA_EXPORT List {
 public:
  class Builder;
  using const_iterator = const Value*;

  List() noexcept = default;
  List(std::initializer_list<Value> values);
  explicit List(std::vector<Value> values);
  List(const List& other) noexcept : block_(other.block_) {
    if (block_ != nullptr) detail::retain(block_);
  }
  List(List&& other) noexcept : block_(std::exchange(other.block_, nullptr)) {}
  List& operator=(List other) noexcept {
    std::swap(block_, other.block_);
    return *this;
  }
  ~List() {
    if (block_ != nullptr && detail::releaseIsLast(block_)) detail::Disposal::ofList(block_);
  }

  [[nodiscard]] std::size_t size() const noexcept { return block_ == nullptr ? 0 : block_->size; }
  [[nodiscard]] bool empty() const noexcept { return block_ == nullptr; }
  [[nodiscard]] inline const_iterator begin() const noexcept;
  [[nodiscard]] inline const_iterator end() const noexcept;
  [[nodiscard]] inline const Value& operator[](std::size_t index) const noexcept;  // index < size()

  // 1 for a list of scalars or an empty one, one more for every level of lists and maps inside.
  [[nodiscard]] std::size_t nesting() const noexcept { return block_ == nullptr ? 1 : block_->nesting; }

  // True when both are the same shared list, which needs no walk to tell.
  [[nodiscard]] bool sharesWith(const List& other) const noexcept { return block_ == other.block_; }

  friend QLCZEPHRA_EXPORT bool operator==(const List& left, const List& right) noexcept;

 private:
  friend class Value;
  friend class detail::ValueStack;
  // Moves the values out.
  List(Value* first, std::size_t count);
  detail::ContainerBlock* block_ = nullptr;
};

// An immutable map from string to value in ascending key order. A copy costs one reference count.
class QLCZEPHRA_EXPORT Map {
 public:
  class Builder;
  class const_iterator;
  struct Entry {
    std::string_view key;
    const Value& value;
  };
  using Pair = std::pair<std::string_view, Value>;

  Map() noexcept = default;
  Map(std::initializer_list<Pair> entries);  // of equal keys the last wins
  Map(const Map& other) noexcept : block_(other.block_) {
    if (block_ != nullptr) detail::retain(block_);
  }
  Map(Map&& other) noexcept : block_(std::exchange(other.block_, nullptr)) {}
  Map& operator=(Map other) noexcept {
    std::swap(block_, other.block_);
    return *this;
  }
  ~Map() {
    if (block_ != nullptr && detail::releaseIsLast(block_)) detail::Disposal::ofMap(block_);
  }

  [[nodiscard]] std::size_t size() const noexcept { return block_ == nullptr ? 0 : block_->size; }
  [[nodiscard]] bool empty() const noexcept { return block_ == nullptr; }
  [[nodiscard]] const_iterator begin() const noexcept;
  [[nodiscard]] const_iterator end() const noexcept;

  // The value under `key`, or null. The pointer lives as long as this map or any copy of it.
  [[nodiscard]] const Value* find(std::string_view key) const noexcept;

  // A copy of this map in which `key` holds `value`; everything else is shared. Linear in size().
  [[nodiscard]] Map with(std::string_view key, Value value) const;
  // A copy of this map without `key`.
  [[nodiscard]] Map without(std::string_view key) const;

  // As List::nesting().
  [[nodiscard]] std::size_t nesting() const noexcept { return block_ == nullptr ? 1 : block_->nesting; }
  [[nodiscard]] bool sharesWith(const Map& other) const noexcept { return block_ == other.block_; }

  friend QLCZEPHRA_EXPORT bool operator==(const Map& left, const Map& right) noexcept;

 private:
  friend class Value;
  friend class MapMaker;
  friend class detail::ValueStack;
  friend struct detail::Disposal;
  struct Slot;
  [[nodiscard]] const Slot* slots() const noexcept;
  detail::ContainerBlock* block_ = nullptr;
};

class QLCZEPHRA_EXPORT Value {
 public:
  enum class Kind : std::uint8_t { null, boolean, integer, real, string, list, map };

  Value() noexcept : Value(Tag::null) {}
  Value(std::nullptr_t) noexcept : Value(Tag::null) {}
  Value(std::same_as<bool> auto boolean) noexcept : Value(Tag::boolean) { store(std::uint64_t{boolean}); }
  template <std::integral Integer>
  requires(!std::same_as<Integer, bool> && !std::same_as<Integer, char>) Value(Integer integer)
  noexcept : Value(std::in_range<std::int64_t>(integer) ? Tag::signedInteger : Tag::unsignedInteger) {
    store(static_cast<std::uint64_t>(integer));
  }
  Value(std::floating_point auto real) noexcept : Value(Tag::real) { store(static_cast<double>(real)); }
  Value(std::string_view text);
  Value(const std::string& text) : Value(std::string_view(text)) {}
  // `text` ends with a NUL and is not null.
  Value(const char* text) : Value(std::string_view(text)) {}
  Value(List list) noexcept : Value(Tag::list) { new (bytes_) List(std::move(list)); }
  Value(Map map) noexcept : Value(Tag::map) { new (bytes_) Map(std::move(map)); }

  Value(const Value& other) noexcept {
    std::memcpy(static_cast<void*>(this), static_cast<const void*>(&other), sizeof(Value));
    if (isShared()) retainShared();
  }
  Value(Value&& other) noexcept {
    std::memcpy(static_cast<void*>(this), static_cast<const void*>(&other), sizeof(Value));
    other.tag_ = 0;
  }
  Value& operator=(const Value& other) noexcept {
    Value copy(other);
    swap(copy);
    return *this;
  }
  Value& operator=(Value&& other) noexcept {
    Value taken(std::move(other));
    swap(taken);
    return *this;
  }
  ~Value() {
    if (isShared()) releaseShared();
  }

  [[nodiscard]] inline Kind kind() const noexcept;
  [[nodiscard]] bool isNull() const noexcept { return tag() == Tag::null; }

  // Each gives nothing (null for the pointers) when the value is of another kind.
  [[nodiscard]] std::optional<bool> boolean() const noexcept {
    if (tag() != Tag::boolean) return std::nullopt;
    return load<std::uint64_t>() != 0;
  }
  // An integer that fits a signed 64-bit number.
  [[nodiscard]] std::optional<std::int64_t> integer() const noexcept {
    if (tag() != Tag::signedInteger) return std::nullopt;
    return load<std::int64_t>();
  }
  // An integer that fits an unsigned 64-bit number.
  [[nodiscard]] std::optional<std::uint64_t> unsignedInteger() const noexcept;
  [[nodiscard]] std::optional<double> real() const noexcept {
    if (tag() != Tag::real) return std::nullopt;
    return load<double>();
  }
  // An integer, or a real without a fraction, that fits a signed 64-bit number: 2 and 2.0 both give 2.
  [[nodiscard]] std::optional<std::int64_t> wholeNumber() const noexcept;
  // The bytes stay valid as long as this very Value object does and is not assigned to: short strings live inside it.
  [[nodiscard]] inline std::optional<std::string_view> string() const noexcept;
  [[nodiscard]] const List* list() const noexcept {
    return tag() == Tag::list ? std::launder(reinterpret_cast<const List*>(bytes_)) : nullptr;
  }
  [[nodiscard]] const Map* map() const noexcept {
    return tag() == Tag::map ? std::launder(reinterpret_cast<const Map*>(bytes_)) : nullptr;
  }
  // An integer or a real; a boolean is no number.
  [[nodiscard]] bool isNumber() const noexcept { return kind() == Kind::integer || kind() == Kind::real; }

  // 0 for a scalar; for lists and maps as List::nesting().
  [[nodiscard]] std::size_t nesting() const noexcept;

  void swap(Value& other) noexcept {
    unsigned char kept[sizeof(Value)];
    std::memcpy(kept, static_cast<const void*>(this), sizeof(Value));
    std::memcpy(static_cast<void*>(this), static_cast<const void*>(&other), sizeof(Value));
    std::memcpy(static_cast<void*>(&other), kept, sizeof(Value));
  }

  friend QLCZEPHRA_EXPORT bool operator==(const Value& left, const Value& right) noexcept;

 private:
  friend class Map;
  friend class detail::ValueStack;
  friend struct detail::Disposal;

  // The low four bits of the tag byte; the high four hold the length of an inline string.
  enum class Tag : std::uint8_t {
    null = 0,
    boolean,
    signedInteger,
    unsignedInteger,
    real,
    inlineString,
    sharedString,  // from here on bytes_ begins with a pointer to a shared block
    list,
    map,
  };

  explicit Value(Tag tag) noexcept : tag_(static_cast<std::uint8_t>(tag)) {}
  [[nodiscard]] Tag tag() const noexcept { return static_cast<Tag>(tag_ & 0x0FU); }
  [[nodiscard]] bool isShared() const noexcept { return tag() >= Tag::sharedString; }
  void retainShared() const noexcept {
    auto* block = load<detail::SharedBlock*>();
    if (block != nullptr) detail::retain(block);
  }
  void releaseShared() noexcept {
    auto* block = load<detail::SharedBlock*>();
    if (block != nullptr && detail::releaseIsLast(block)) destroyShared();
  }
  void destroyShared() noexcept;
  template <typename T>
  [[nodiscard]] T load() const noexcept {
    T result;
    std::memcpy(&result, bytes_, sizeof result);
    return result;
  }
  template <typename T>
  void store(T content) noexcept {
    std::memcpy(bytes_, &content, sizeof content);
  }

  alignas(8) unsigned char bytes_[15] = {};
  std::uint8_t tag_ = 0;
};

static_assert(sizeof(Value) == 2 * sizeof(void*));

// A key and its value as a map stores them, in key order.
struct Map::Slot {
  Value key;  // always a string
  Value value;
};

class Map::const_iterator {
 public:
  using value_type = Entry;
  using difference_type = std::ptrdiff_t;
  using iterator_concept = std::forward_iterator_tag;

  const_iterator() noexcept = default;
  [[nodiscard]] Entry operator*() const noexcept { return {*slot_->key.string(), slot_->value}; }
  const_iterator& operator++() noexcept {
    ++slot_;
    return *this;
  }
  const_iterator operator++(int) noexcept { return const_iterator(slot_++); }
  friend bool operator==(const_iterator left, const_iterator right) noexcept { return left.slot_ == right.slot_; }
  // The key as a value, for Builder::setShared().
  [[nodiscard]] const Value& sharedKey() const noexcept { return slot_->key; }

 private:
  friend class Map;
  explicit const_iterator(const Slot* slot) noexcept : slot_(slot) {}
  const Slot* slot_ = nullptr;
};

// Collects values and makes a list of them. Not for use by two threads at once.
class QLCZEPHRA_EXPORT List::Builder {
 public:
  void add(Value value) { values_.push_back(std::move(value)); }
  // The builder is empty afterwards and may be used again.
  [[nodiscard]] List build();

 private:
  std::vector<Value> values_;
};

// Collects entries in any order and makes a map of them. Not for use by two threads at once.
class QLCZEPHRA_EXPORT Map::Builder {
 public:
  Builder() = default;
  // Starts with the entries of `base`.
  explicit Builder(const Map& base);
  void reserve(std::size_t entries) { slots_.reserve(entries); }
  // Of equal keys the last wins.
  void set(std::string_view key, Value value) { slots_.push_back({Value(key), std::move(value)}); }
  // As above, for a key that is already a string value: a long key is then shared instead of copied.
  void setShared(Value key, Value value) { slots_.push_back({std::move(key), std::move(value)}); }
  [[nodiscard]] bool empty() const noexcept { return slots_.empty(); }
  // The builder is empty afterwards and may be used again.
  [[nodiscard]] Map build();

 private:
  std::vector<Slot> slots_;
};

inline Value::Kind Value::kind() const noexcept {
  // Four bits for each tag, null's the lowest: Kind::null, boolean, integer twice, real, string twice, list, map.
  constexpr std::uint64_t kinds = 0x6'5443'2210;
  return static_cast<Kind>(kinds >> (tag_ & 0x0FU) * 4U & 0x0FU);
}

inline std::optional<std::string_view> Value::string() const noexcept {
  if (tag() == Tag::inlineString) {
    return std::string_view(reinterpret_cast<const char*>(bytes_), std::size_t{tag_} >> 4U);
  }
  if (tag() != Tag::sharedString) return std::nullopt;
  const auto* block = load<const detail::StringBlock*>();
  return std::string_view(reinterpret_cast<const char*>(block + 1), block->size);
}

inline List::const_iterator List::begin() const noexcept {
  return block_ == nullptr ? nullptr : std::launder(reinterpret_cast<const Value*>(block_ + 1));
}
inline List::const_iterator List::end() const noexcept {
  return begin() + size();
}
inline const Value& List::operator[](std::size_t index) const noexcept {
  return begin()[index];
}

inline const Map::Slot* Map::slots() const noexcept {
  return block_ == nullptr ? nullptr : std::launder(reinterpret_cast<const Slot*>(block_ + 1));
}
inline Map::const_iterator Map::begin() const noexcept {
  return const_iterator(slots());
}
inline Map::const_iterator Map::end() const noexcept {
  return const_iterator(slots() + size());
}

}  // namespace qlczephra
