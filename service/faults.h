// Scripted misbehaviour: a list of faults, of which each request takes at most one. docs/stand-in-service.md describes
// the JSON form.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "platform/mutex.h"
#include "qlczephra/value.h"
#include "service/exchange.h"

namespace qlczephra::service {

struct Fault {
  enum class Tag : std::uint8_t { genuine, none, weak, wrong };

  // Which requests it is for; an empty text fits all.
  std::string method;
  std::string pathSuffix;

  std::size_t onlyAfter = 0;         // so many fitting requests pass it by first
  std::optional<std::size_t> count;  // so many requests it spoils; none: all that follow

  // Whether the service carries the request out before it misbehaves.
  bool apply = true;

  std::optional<int> status;
  std::chrono::milliseconds delay{0};
  Drop drop = Drop::never;
  Tag tag = Tag::genuine;
  std::optional<std::string> body;
  Headers headers;
};

struct FaultError {
  std::string reason;
};

// The faults of a JSON list; an unknown key or a value of the wrong kind is an error.
[[nodiscard]] std::variant<std::vector<Fault>, FaultError> parseFaults(const Value& list);

// Makes a genuine reply into the fault's.
void spoil(ServiceReply& reply, const Fault& fault);

// Threads: any; every operation is one step.
class FaultScript {
 public:
  void add(std::vector<Fault> faults);
  void clear();

  // The fault for a request of this method and path (without the query): the first in the list that fits and is neither
  // used up nor still passing requests by. It counts as used.
  [[nodiscard]] std::optional<Fault> take(std::string_view method, std::string_view path);

  // Faults that still have requests to spoil, those without end included.
  [[nodiscard]] std::size_t remaining() const;

 private:
  mutable platform::Mutex mutex_;
  std::vector<Fault> faults_ QLCZ_GUARDED_BY(mutex_);
};

}  // namespace qlczephra::service
