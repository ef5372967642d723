// Codes of the errors that the library itself makes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "qlczephra/export.h"

namespace qlczephra {

// Why the manager ended a call: the code of an Error whose domain is domain().
class QLCZEPHRA_EXPORT ZephraErrorCode {
 public:
  enum Raw : std::int64_t {
    unprocessableEntity = 0,  // 422
    badRequest = 1,           // 400 that is not repeated any more, or 412 to a call that cannot recover from it
    unauthorized = 2,         // 401: the token is invalid or expired; also a delegate's answer without a token
    invalidSettings = 3,      // the document that came is none that can be interpreted
    reserved = 4,             // never
    forbidden = 5,            // 403
    notFound = 6,             // 404
    fetchInProgress = 7,      // a fetch of this manager is running
    noServiceURL = 8,         // the URL provider gave neither URL nor error
    unexpectedResponse = 9,   // any other status that is not repeated (any more)
  };

  constexpr ZephraErrorCode(Raw raw) noexcept : raw_(raw) {}
  // None outside 0 to 9.
  [[nodiscard]] static constexpr std::optional<ZephraErrorCode> fromRawValue(std::int64_t raw) noexcept {
    if (raw < unprocessableEntity || raw > unexpectedResponse) return std::nullopt;
    return ZephraErrorCode(static_cast<Raw>(raw));
  }
  [[nodiscard]] constexpr std::int64_t rawValue() const noexcept { return raw_; }
  friend constexpr bool operator==(ZephraErrorCode, ZephraErrorCode) noexcept = default;

  // The domain of errors with these codes: "com.quellin.qlczephra".
  [[nodiscard]] static const std::string& domain();

 private:
  Raw raw_;
};

}  // namespace qlczephra

template <>
struct std::hash<qlczephra::ZephraErrorCode> {
  std::size_t operator()(qlczephra::ZephraErrorCode code) const noexcept {
    return std::hash<std::int64_t>()(code.rawValue());
  }
};
