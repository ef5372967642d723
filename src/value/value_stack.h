// Values in the making, on one stack: the members of a list or map stand on top of each other until it is closed, which
// moves them into a block of just their size. For one thread.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <string_view>
#include <utility>
#include <vector>

#include "qlczephra/value.h"
#include "value/key_interner.h"

namespace qlczephra::detail {

class ValueStack {
 public:
  ValueStack() = default;
  ValueStack(const ValueStack&) = delete;
  ValueStack& operator=(const ValueStack&) = delete;
  ~ValueStack();

  // Makes room for so many values, which takes memory where they are more than a few.
  void reserve(std::size_t values) {
    if (values > capacity_) grow(values);
  }

  // Containers that are open.
  [[nodiscard]] std::size_t depth() const noexcept { return around_.size(); }
  [[nodiscard]] bool isInMap() const noexcept { return innermost_.isMap; }
  // Whether the innermost container is a map, and the key of its next value is there already.
  [[nodiscard]] bool hasKey() const noexcept { return innermost_.isMap && (size_ - innermost_.first) % 2 != 0; }
  // Nothing is open, and the one value is there.
  [[nodiscard]] bool isComplete() const noexcept { return around_.empty() && size_ == 1; }

  void openList() { open(false); }
  void openMap() { open(true); }
  // Ends the innermost container, which becomes a member of the one around it. A map's last key has its value. Of equal
  // keys the last wins.
  void close();

  // The key of the value that comes next. Equal long ones share their text.
  void addKey(std::string_view text) { add(keys_.intern(text)); }
  // A scalar.
  void add(Value scalar) { new (room()) Value(std::move(scalar)); }

  // The same for what needs no memory of its own.
  void add(bool boolean) { put(Value::Tag::boolean, std::uint64_t{boolean}); }
  void add(std::int64_t integer) { put(Value::Tag::signedInteger, static_cast<std::uint64_t>(integer)); }
  // The value when it is complete.
  [[nodiscard]] Value take() noexcept { return std::move(values_[--size_]); }

 private:
  // A value's bytes, all written by one store: whoever moves them soon loads them all at once, and would have to wait
  // for several stores to arrive.
  using Bytes [[gnu::vector_size(16)]] = std::uint64_t;

  struct Container {
    std::size_t first = 0;  // of its members
    std::uint32_t nesting = 1;
    bool isMap = false;
  };

  void open(bool isMap) {
    around_.push_back(innermost_);
    innermost_ = {size_, 1, isMap};
  }
  // A place for one more value.
  void* room() {
    if (size_ == capacity_) grow(2 * capacity_);
    return values_ + size_++;
  }
  void grow(std::size_t capacity);
  void put(Value::Tag tag, std::uint64_t content) { put(Bytes{content, 0} | inTag(static_cast<std::uint8_t>(tag))); }
  void put(Bytes bytes) { std::memcpy(room(), &bytes, sizeof bytes); }
  [[nodiscard]] static Bytes inTag(std::uint64_t byte) noexcept {
    return Bytes{0, std::endian::native == std::endian::little ? byte << 56U : byte};
  }
  [[nodiscard]] ContainerBlock* cut(const Value* first, std::size_t count);
  [[nodiscard]] ContainerBlock* cutMap(Value* first, std::size_t count);
  [[nodiscard]] ContainerBlock* cutUnordered(Value* first, std::size_t count);
  [[nodiscard]] static bool areSwitches(const Value* first, std::size_t count) noexcept;
  [[nodiscard]] ContainerBlock* cutSwitches(const Value* first, std::size_t count);

  // The stack needs no memory as long as few values are on it.
  static constexpr std::size_t few = 512;
  alignas(Value) unsigned char first_[few * sizeof(Value)];
  Value* values_ = reinterpret_cast<Value*>(first_);
  std::size_t size_ = 0;
  std::size_t capacity_ = few;
  Container innermost_;
  std::vector<Container> around_;
  KeyInterner keys_;
  // Equal maps of a boolean or two share one block, of which a settings tree has many: the last of each hash.
  static constexpr std::size_t mostSwitches = 4;  // with their keys
  Map switches_[16];
};

}  // namespace qlczephra::detail
