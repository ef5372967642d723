// What the service keeps: for every product its settings document, the values that clients changed, the entity tag, and
// the push ids that were registered.
//
// Threads: any; every operation is one step.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/mutex.h"
#include "qlczephra/value.h"

namespace qlczephra::service {

// The document of a product as a client gets it.
struct Representation {
  std::shared_ptr<const std::string> body;  // never null
  std::string tag;                          // strong and quoted
};

// Makes the values of all products durable (product name to values). False: they are not.
using ValuesWriter = std::function<bool(const Map& valuesByProduct)>;

class Store {
 public:
  // Without a writer the values live in memory only. `savedValues` is what the writer was last given, in an earlier
  // run.
  explicit Store(ValuesWriter writer = {}, Map savedValues = {});

  // Puts a product in place as after a restart: with the saved values, where there are any, instead of the document's.
  // A document is {"data": {"eff_schema": {...}, "values": {...}}}; false when it has no "data" map.
  bool restoreDocument(const std::string& product, const Map& document);
  // Puts a product in place, or replaces it, with the document's own values; a new revision begins.
  bool setDocument(const std::string& product, const Map& document);

  [[nodiscard]] std::optional<Representation> find(const std::string& product) const;

  enum class UpdateStatus : std::uint8_t { done, unknownProduct, preconditionFailed, notSaved };
  struct UpdateResult {
    UpdateStatus status = UpdateStatus::done;
    std::string tag;  // the new one when done
  };
  // Lays `changes` over the product's values (maps merge key by key, everything else replaces) if `precondition` holds
  // for the current tag. Nothing changes unless the outcome is done. The precondition runs inside the step and must not
  // use the store.
  UpdateResult update(const std::string& product, const Map& changes,
                      const std::function<bool(std::string_view tag)>& precondition);

  // False for an unknown product.
  bool registerPushId(const std::string& product, std::string id);

  [[nodiscard]] std::optional<Map> values(const std::string& product) const;
  // In the order of registration.
  [[nodiscard]] std::vector<std::string> pushIds(const std::string& product) const;

  // Every product is again as its document was put in place, with a new revision and without push ids.
  void reset();

 private:
  struct Product {
    Map document;  // as it was put in place
    Map values;
    std::uint64_t revision = 0;
    Representation representation;
    std::vector<std::string> pushIds;
  };

  bool place(const std::string& product, const Map& document, const Map* savedValues) QLCZ_REQUIRES(mutex_);
  bool save(const std::string& product, const Map& values) QLCZ_REQUIRES(mutex_);
  static void revise(Product& product, Map values);

  const ValuesWriter writer_;
  mutable platform::Mutex mutex_;
  std::map<std::string, Product> products_ QLCZ_GUARDED_BY(mutex_);
  Map savedValues_ QLCZ_GUARDED_BY(mutex_);
};

}  // namespace qlczephra::service
