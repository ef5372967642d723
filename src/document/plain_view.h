// Looks into a settings tree as document::flattened() would show it, without making the copy.
#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string_view>

#include "document/setting_node.h"
#include "qlczephra/value.h"

namespace qlczephra::document {

class PlainMapView;

// A value, or none. The questions are those of typed reads: no kind is read as another. Points into the tree.
class PlainValueView {
 public:
  PlainValueView() noexcept = default;
  // `ofNodes`: the value, if it is a map, is one of setting nodes.
  PlainValueView(const Value* value, bool ofNodes) noexcept : value_(value), ofNodes_(ofNodes) {}

  [[nodiscard]] std::optional<bool> boolean() const noexcept {
    return value_ == nullptr ? std::nullopt : value_->boolean();
  }
  [[nodiscard]] std::optional<std::int64_t> number() const noexcept {
    return value_ == nullptr ? std::nullopt : value_->wholeNumber();
  }
  // The bytes live as long as the tree.
  [[nodiscard]] std::optional<std::string_view> string() const noexcept {
    return value_ == nullptr ? std::nullopt : value_->string();
  }
  [[nodiscard]] inline std::optional<PlainMapView> map() const noexcept;
  // A list whose every element is of one kind; null otherwise. A list inside a tree holds plain values.
  [[nodiscard]] const List* listOfMaps() const noexcept {
    return listOf([](const Value& element) { return element.map() != nullptr; });
  }
  [[nodiscard]] const List* listOfStrings() const noexcept {
    return listOf([](const Value& element) { return element.kind() == Value::Kind::string; });
  }
  [[nodiscard]] const List* listOfNumbers() const noexcept {
    return listOf([](const Value& element) { return element.wholeNumber().has_value(); });
  }

 private:
  template <typename IsOfKind>
  [[nodiscard]] const List* listOf(IsOfKind isOfKind) const noexcept {
    const List* list = value_ == nullptr ? nullptr : value_->list();
    return list != nullptr && std::all_of(list->begin(), list->end(), isOfKind) ? list : nullptr;
  }

  const Value* value_ = nullptr;
  bool ofNodes_ = false;
};

// A map whose members are plain values or, in a group of settings, nodes of which the values are shown.
class PlainMapView {
 public:
  PlainMapView(const Map& map, bool ofNodes) noexcept : map_(&map), ofNodes_(ofNodes) {}

  [[nodiscard]] PlainValueView operator[](std::string_view name) const noexcept {
    const Value* member = map_->find(name);
    return member == nullptr ? PlainValueView() : shown(*member);
  }

  // Calls `visit(name, PlainValueView)` for each member in the order of Map.
  template <typename Visit>
  void forEach(Visit&& visit) const {
    for (const auto [name, member] : *map_) visit(name, shown(member));
  }

 private:
  [[nodiscard]] PlainValueView shown(const Value& member) const noexcept {
    const Value* inner = ofNodes_ ? valueOfNode(member) : nullptr;
    return inner == nullptr ? PlainValueView(&member, false) : PlainValueView(inner, true);
  }

  const Map* map_;
  bool ofNodes_;
};

inline std::optional<PlainMapView> PlainValueView::map() const noexcept {
  const Map* map = value_ == nullptr ? nullptr : value_->map();
  return map == nullptr ? std::nullopt : std::optional(PlainMapView(*map, ofNodes_));
}

}  // namespace qlczephra::document
