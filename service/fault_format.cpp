// The JSON form of the faults.
#include <functional>
#include <limits>
#include <map>

#include "service/faults.h"

namespace qlczephra::service {
namespace {

// Each setter takes the value of its key into the fault; false when the value is not of the kind that the key takes.
using Setter = std::function<bool(Fault&, const Value&)>;
using Setters = std::map<std::string, Setter, std::less<>>;

bool setText(std::string& target, const Value& value) {
  const auto text = value.string();
  if (text) target = *text;
  return text.has_value();
}

std::optional<std::size_t> countIn(const Value& value, std::int64_t least, std::int64_t most) {
  const auto number = value.integer();
  if (!number || *number < least || *number > most) return std::nullopt;
  return static_cast<std::size_t>(*number);
}

template <typename Choice>
bool setChoice(Choice& target, const Value& value, const std::map<std::string_view, Choice>& choices) {
  const auto text = value.string();
  const auto found = text ? choices.find(*text) : choices.end();
  if (found == choices.end()) return false;
  target = found->second;
  return true;
}

bool setHeaders(Fault& fault, const Value& value) {
  if (value.map() == nullptr) return false;
  for (const auto [name, content] : *value.map()) {
    const auto text = content.string();
    if (!text) return false;
    fault.headers.emplace_back(name, *text);
  }
  return true;
}

bool setAll(const Setters& setters, Fault& fault, const Map& map, std::string& wrongKey) {
  for (const auto [key, value] : map) {
    const auto setter = setters.find(key);
    if (setter == setters.end() || !setter->second(fault, value)) {
      wrongKey = key;
      return false;
    }
  }
  return true;
}

const Setters& matchSetters() {
  static const Setters setters{
      {"method", [](Fault& fault, const Value& value) { return setText(fault.method, value); }},
      {"path suffix", [](Fault& fault, const Value& value) { return setText(fault.pathSuffix, value); }},
  };
  return setters;
}

const Setters& faultSetters() {
  constexpr std::int64_t largestCount = std::numeric_limits<std::int32_t>::max();
  static const Setters setters{
      {"match",
       [](Fault& fault, const Value& value) {
         std::string wrongKey;
         return value.map() != nullptr && setAll(matchSetters(), fault, *value.map(), wrongKey);
       }},
      {"count",
       [](Fault& fault, const Value& value) {
         fault.count = countIn(value, 1, largestCount);
         return fault.count.has_value() || value == Value("always");
       }},
      {"only_after",
       [](Fault& fault, const Value& value) {
         const auto count = countIn(value, 0, largestCount);
         fault.onlyAfter = count.value_or(0);
         return count.has_value();
       }},
      {"apply",
       [](Fault& fault, const Value& value) {
         fault.apply = value.boolean().value_or(true);
         return value.boolean().has_value();
       }},
      {"status",
       [](Fault& fault, const Value& value) {
         const auto status = countIn(value, 200, 999);
         if (status) fault.status = static_cast<int>(*status);
         return status.has_value();
       }},
      {"delay_ms",
       [](Fault& fault, const Value& value) {
         const auto delay = countIn(value, 0, largestCount);
         fault.delay = std::chrono::milliseconds(delay.value_or(0));
         return delay.has_value();
       }},
      {"drop",
       [](Fault& fault, const Value& value) {
         return setChoice(fault.drop, value,
                          {{"before-headers", Drop::beforeHeaders},
                           {"after-headers", Drop::afterHeaders},
                           {"mid-body", Drop::midBody}});
       }},
      {"tag",
       [](Fault& fault, const Value& value) {
         return setChoice(fault.tag, value,
                          {{"none", Fault::Tag::none}, {"weak", Fault::Tag::weak}, {"wrong", Fault::Tag::wrong}});
       }},
      {"body", [](Fault& fault, const Value& value) { return setText(fault.body.emplace(), value); }},
      {"bad_json",
       [](Fault& fault, const Value& value) {
         if (value.boolean() == true) fault.body = "{\"data\":";
         return value.boolean().has_value();
       }},
      {"headers", setHeaders},
  };
  return setters;
}

}  // namespace

std::variant<std::vector<Fault>, FaultError> parseFaults(const Value& list) {
  if (list.list() == nullptr) return FaultError{"faults must be a JSON list"};
  std::vector<Fault> faults;
  for (const Value& entry : *list.list()) {
    std::string position = "fault " + std::to_string(faults.size() + 1);
    if (entry.map() == nullptr) return FaultError{position + " must be a JSON object"};
    Fault fault;
    fault.count = 1;
    fault.apply = entry.map()->find("status") == nullptr;
    std::string wrongKey;
    if (!setAll(faultSetters(), fault, *entry.map(), wrongKey)) {
      return FaultError{position.append(": key or value not understood: ").append(wrongKey)};
    }
    faults.push_back(std::move(fault));
  }
  return faults;
}

}  // namespace qlczephra::service
