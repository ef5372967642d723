#include "service/store.h"

#include "platform/json/json.h"
#include "service/entity_tag.h"

namespace qlczephra::service {
namespace {

const Map* mapUnder(const Map& map, std::string_view key) {
  const Value* value = map.find(key);
  return value == nullptr ? nullptr : value->map();
}

Map merged(const Map& base, const Map& changes) {
  Map::Builder result(base);
  for (const auto [key, change] : changes) {
    const Map* below = mapUnder(base, key);
    const Map* above = change.map();
    result.set(key, below != nullptr && above != nullptr ? Value(merged(*below, *above)) : change);
  }
  return result.build();
}

}  // namespace

Store::Store(ValuesWriter writer, Map savedValues) : writer_(std::move(writer)), savedValues_(std::move(savedValues)) {}

bool Store::restoreDocument(const std::string& product, const Map& document) {
  const platform::MutexLock lock(mutex_);
  return place(product, document, mapUnder(savedValues_, product));
}

bool Store::setDocument(const std::string& product, const Map& document) {
  const platform::MutexLock lock(mutex_);
  return place(product, document, nullptr);
}

bool Store::place(const std::string& name, const Map& document, const Map* savedValues) {
  const Map* data = mapUnder(document, "data");
  if (data == nullptr) return false;
  const Map* ownValues = mapUnder(*data, "values");
  const Map values = savedValues != nullptr ? *savedValues : ownValues != nullptr ? *ownValues : Map();
  if (savedValues == nullptr && !save(name, values)) return false;
  Product& product = products_[name];
  product.document = document;
  revise(product, values);
  return true;
}

std::optional<Representation> Store::find(const std::string& name) const {
  const platform::MutexLock lock(mutex_);
  const auto found = products_.find(name);
  if (found == products_.end()) return std::nullopt;
  return found->second.representation;
}

Store::UpdateResult Store::update(const std::string& name, const Map& changes,
                                  const std::function<bool(std::string_view)>& precondition) {
  const platform::MutexLock lock(mutex_);
  const auto found = products_.find(name);
  if (found == products_.end()) return {UpdateStatus::unknownProduct, {}};
  Product& product = found->second;
  if (!precondition(product.representation.tag)) return {UpdateStatus::preconditionFailed, {}};
  const Map values = merged(product.values, changes);
  if (!save(name, values)) return {UpdateStatus::notSaved, {}};
  revise(product, values);
  return {UpdateStatus::done, product.representation.tag};
}

bool Store::registerPushId(const std::string& name, std::string id) {
  const platform::MutexLock lock(mutex_);
  const auto found = products_.find(name);
  if (found == products_.end()) return false;
  found->second.pushIds.push_back(std::move(id));
  return true;
}

std::optional<Map> Store::values(const std::string& name) const {
  const platform::MutexLock lock(mutex_);
  const auto found = products_.find(name);
  if (found == products_.end()) return std::nullopt;
  return found->second.values;
}

std::vector<std::string> Store::pushIds(const std::string& name) const {
  const platform::MutexLock lock(mutex_);
  const auto found = products_.find(name);
  return found == products_.end() ? std::vector<std::string>() : found->second.pushIds;
}

void Store::reset() {
  const platform::MutexLock lock(mutex_);
  for (auto& [name, product] : products_) {
    product.pushIds.clear();
    place(name, Map(product.document), nullptr);
  }
}

bool Store::save(const std::string& name, const Map& values) {
  if (!writer_) return true;
  Map all = savedValues_.with(name, values);
  if (!writer_(all)) return false;
  savedValues_ = std::move(all);
  return true;
}

void Store::revise(Product& product, Map values) {
  product.values = std::move(values);
  ++product.revision;
  const Value* data = product.document.find("data");
  const Map document = product.document.with("data", data->map()->with("values", product.values));
  auto body = std::make_shared<const std::string>(json::write(Value(document)).value_or("{}"));
  product.representation.tag = makeTag(product.revision, *body);
  product.representation.body = std::move(body);
}

}  // namespace qlczephra::service
