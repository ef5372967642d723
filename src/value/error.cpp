#include "qlczephra/error.h"

#include <utility>

namespace qlczephra {

Error::Error(std::string domain, std::int64_t code, std::optional<std::string> description)
    : domain_(std::move(domain)), code_(code), description_(std::move(description)) {}

Error::~Error() = default;

std::string Error::text() const {
  std::string result = domain_ + " error " + std::to_string(code_);
  if (description_) result += ": " + *description_;
  return result;
}

}  // namespace qlczephra
